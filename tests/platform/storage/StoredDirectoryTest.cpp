// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <fstream>
#include <tuple>

#include "allocations/FailingAllocation.h"
#include "platform/base/Limits.h"
#include "platform/storage/StoredDirectoryFixture.h"
#include "support/StorageHome.h"

namespace orx {

using namespace platform;
namespace {

namespace fs = std::filesystem;
using testing::contentOf;
using testing::detail;
using testing::failEachAllocation;
using testing::statusOf;
using testing::StoredDirectoryTest;
using testing::writeContent;
using Kind = StoredDirectory::Kind;
using Missing = StoredDirectory::Missing;

TEST_F(StoredDirectoryTest, IsAbsentWhereThereIsNoDirectory) {
  const auto opening = StoredDirectory::open(path, Kind::Private, Missing::DoNotCreate);
  ASSERT_TRUE(opening);
  EXPECT_FALSE(*opening);
  EXPECT_FALSE(fs::exists(path.parent_path()));
}

TEST_F(StoredDirectoryTest, IsAbsentInADirectoryWithoutIt) {
  const auto reading = open().read("file");
  ASSERT_TRUE(reading);
  EXPECT_FALSE(*reading);
}

TEST_F(StoredDirectoryTest, HoldsTheBytesItWasGiven) {
  const auto directory = open();
  for (const std::string& bytes :
       {std::string("first"), std::string(), std::string("x"), std::string(300'000, 'x')}) {
    ASSERT_TRUE(directory.replace("file", Data(bytes)));
    EXPECT_EQ((*directory.read("file"))->text(), bytes);
    EXPECT_EQ(contentOf(file), bytes);
  }
}

TEST_F(StoredDirectoryTest, IsNotTouchedByEqualBytes) {
  const auto directory = open();
  ASSERT_TRUE(directory.replace("file", Data("same")));
  const auto before = statusOf(file);
  const auto directoryBefore = statusOf(path);
  ASSERT_TRUE(directory.replace("file", Data("same")));
  const auto after = statusOf(file);
  const auto nanoseconds = [](const timespec& time) {
    return std::tuple(time.tv_sec, time.tv_nsec);
  };
  EXPECT_EQ(after.st_ino, before.st_ino);
  EXPECT_EQ(nanoseconds(after.st_mtim), nanoseconds(before.st_mtim));
  EXPECT_EQ(nanoseconds(after.st_ctim), nanoseconds(before.st_ctim));
  EXPECT_EQ(nanoseconds(statusOf(path).st_mtim), nanoseconds(directoryBefore.st_mtim));
}

TEST_F(StoredDirectoryTest, IsReplacedAsAWholeSoThatAReaderKeepsTheOldOne) {
  const auto directory = open();
  ASSERT_TRUE(directory.replace("file", Data("old")));
  std::ifstream reader(file);
  ASSERT_TRUE(directory.replace("file", Data("new content")));
  std::string seen;
  reader >> seen;
  EXPECT_EQ(seen, "old");
}

TEST_F(StoredDirectoryTest, KeepsItsBytesWhenTheFileSizeLimitIsReached) {
  const auto directory = open();
  ASSERT_TRUE(directory.replace("file", Data("old")));
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit small{.rlim_cur = 1000, .rlim_max = before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &small);
  const auto replaced = directory.replace("file", Data(std::string(5000, 'x')));
  setrlimit(RLIMIT_FSIZE, &before);
  ASSERT_FALSE(replaced);
  EXPECT_EQ(replaced.error()->code(), EFBIG);
  EXPECT_EQ(contentOf(file), "old");
  EXPECT_EQ(std::distance(fs::directory_iterator(path), {}), 1);
  sigset_t pending;
  sigpending(&pending);
  EXPECT_EQ(sigismember(&pending, SIGXFSZ), 0);
}

TEST_F(StoredDirectoryTest, RefusesWhatItCouldNotReadBack) {
  const auto directory = open();
  const Data large(std::vector<std::uint8_t>(limits::storedFileSize + 1));
  EXPECT_FALSE(directory.replace("file", large));
  EXPECT_FALSE(fs::exists(file));
  writeContent(file, "");
  fs::resize_file(file, limits::storedFileSize + 1);
  fs::permissions(file, fs::perms(0600));
  const auto reading = directory.read("file");
  ASSERT_FALSE(reading);
  EXPECT_NE(reading.error()->localizedDescription().find("too large"), std::string::npos);
}

TEST_F(StoredDirectoryTest, GoesWithoutATrace) {
  const auto directory = open();
  ASSERT_TRUE(directory.replace("file", Data("secret")));
  ASSERT_TRUE(directory.remove("file"));
  EXPECT_TRUE(fs::is_empty(path));
  EXPECT_TRUE(directory.remove("file"));
}

TEST_F(StoredDirectoryTest, IsSynchronisedWhereItIsAFileAndNoErrorWhereItIsAbsent) {
  const auto directory = open();
  EXPECT_TRUE(directory.synchronize("file"));
  ASSERT_TRUE(directory.replace("file", Data("content")));
  EXPECT_TRUE(directory.synchronize("file"));
  fs::create_symlink("file", path / "link");
  const auto synchronized = directory.synchronize("link");
  ASSERT_FALSE(synchronized);
  EXPECT_EQ(synchronized.error()->code(), ELOOP);
  EXPECT_EQ(detail(*synchronized.error(), NSFilePathErrorKey), path / "link");
}

TEST_F(StoredDirectoryTest, SweepsWhatDeadWritersLeftBehind) {
  const auto directory = open();
  writeContent(path / ".orx-tmp-123", "half a secr");
  writeContent(path / "someone-elses", "kept");
  ASSERT_TRUE(directory.replace("file", Data("new")));
  EXPECT_FALSE(fs::exists(path / ".orx-tmp-123"));
  EXPECT_TRUE(fs::exists(path / "someone-elses"));
}

TEST_F(StoredDirectoryTest, KeepsTheReplacedFileBesideWhenAsked) {
  const auto directory = open();
  for (const auto* content : {"one", "two", "three"}) {
    writeContent(file, content);
    ASSERT_TRUE(directory.replace("file", Data("new"), StoredDirectory::Previous::Quarantine));
    EXPECT_EQ(contentOf(file), "new");
  }
  EXPECT_EQ(contentOf(path / "file.damaged"), "one");
  EXPECT_EQ(contentOf(path / "file.damaged-2"), "two");
  EXPECT_EQ(contentOf(path / "file.damaged-3"), "three");
}

TEST_F(StoredDirectoryTest, KeepsNoMoreThanNinetyNineReplacedFilesBeside) {
  const auto directory = open();
  writeContent(path / "file.damaged", "oldest");
  for (int number = 2; number < 100; ++number) {
    writeContent(path / ("file.damaged-" + std::to_string(number)), "older");
  }
  writeContent(file, "newest");
  fs::permissions(file, fs::perms(0600));
  ASSERT_TRUE(directory.replace("file", Data("new"), StoredDirectory::Previous::Quarantine));
  EXPECT_EQ(contentOf(file), "new");
  EXPECT_EQ(contentOf(path / "file.damaged"), "newest");
  EXPECT_FALSE(fs::exists(path / "file.damaged-100"));
}

TEST_F(StoredDirectoryTest, RemovesWhatIsKeptBesideThoughOnePieceCannotBeRemoved) {
  const auto directory = open();
  const auto obstacle = path / "file.damaged-2";
  fs::create_directory(obstacle);
  for (const auto* name :
       {"file.damaged", "file.damaged-3", "file.damaged.item", "file.damaged-x"}) {
    writeContent(path / name, "bytes");
  }
  const auto removed = directory.removeQuarantined("file");
  ASSERT_FALSE(removed);
  EXPECT_EQ(detail(*removed.error(), NSFilePathErrorKey), obstacle);
  EXPECT_FALSE(fs::exists(path / "file.damaged") || fs::exists(path / "file.damaged-3"));
  // They are another file's.
  EXPECT_TRUE(fs::exists(path / "file.damaged.item") && fs::exists(path / "file.damaged-x"));
}

TEST_F(StoredDirectoryTest, KeepsNoDescriptorWhereMemoryForTheErrorOfARemovalRunsOut) {
  const auto directory = open();
  fs::create_directory(path / "file.damaged");
  const auto nextDescriptor = [] { return FileDescriptor(::open("/", O_RDONLY)).get(); };
  const int next = nextDescriptor();
  failEachAllocation([] {}, [&] { EXPECT_FALSE(directory.removeQuarantined("file")); },
                     [&](bool) { EXPECT_EQ(nextDescriptor(), next); });
}

// Something that is not a trustworthy file in the file's place, and the reason in the error.
struct Obstacle {
  const char* name;
  void (*make)(const fs::path& file);
  const char* reason;
};

std::ostream& operator<<(std::ostream& stream, const Obstacle& obstacle) {
  return stream << obstacle.name;
}

class ObstacleInAFilesPlace : public StoredDirectoryTest,
                              public ::testing::WithParamInterface<Obstacle> {};

TEST_P(ObstacleInAFilesPlace, IsRefusedAndLeftAlone) {
  const auto directory = open();
  writeContent(temporary / "elsewhere", "untouched");
  GetParam().make(file);
  const auto before = statusOf(file);

  const auto reading = directory.read("file");
  const auto replacing = directory.replace("file", Data("new"));
  const auto found = directory.exists("file");
  ASSERT_TRUE(!reading && !replacing && !found);
  for (const auto& error : {reading.error(), replacing.error(), found.error()}) {
    EXPECT_TRUE(isRefusal(*error));
    EXPECT_EQ(detail(*error, NSFilePathErrorKey), file);
    EXPECT_NE(error->localizedDescription().find(GetParam().reason), std::string::npos);
    EXPECT_NE(detail(*error, NSLocalizedRecoverySuggestionErrorKey).find(file.string()),
              std::string::npos);
  }
  EXPECT_EQ(statusOf(file).st_ino, before.st_ino);
  EXPECT_EQ(contentOf(temporary / "elsewhere"), "untouched");
}

INSTANTIATE_TEST_SUITE_P(
    , ObstacleInAFilesPlace,
    ::testing::Values(
        Obstacle{"Link",
                 [](const fs::path& file) {
                   fs::create_symlink(file.parent_path() / "../../../elsewhere", file);
                 },
                 "is a link"},
        Obstacle{"DanglingLink",
                 [](const fs::path& file) { fs::create_symlink("/nonexistent/file", file); },
                 "is a link"},
        Obstacle{"FIFO", [](const fs::path& file) { mkfifo(file.c_str(), 0600); },
                 "is not a regular file"},
        Obstacle{"Directory", [](const fs::path& file) { fs::create_directory(file); },
                 "is not a regular file"},
        Obstacle{"FileThatOthersWrite",
                 [](const fs::path& file) {
                   writeContent(file, "planted");
                   fs::permissions(file, fs::perms(0620));
                 },
                 "can be written by others"}),
    [](const auto& instance) { return instance.param.name; });

TEST_F(StoredDirectoryTest, IsRefusedInAPrivateDirectoryThatIsALink) {
  fs::create_directories(temporary / "real");
  fs::create_directories(path.parent_path());
  fs::create_directory_symlink(temporary / "real", path);
  for (const auto missing : {Missing::DoNotCreate, Missing::Create}) {
    const auto opening = StoredDirectory::open(path, Kind::Private, missing);
    ASSERT_FALSE(opening);
    EXPECT_TRUE(isRefusal(*opening.error()));
    EXPECT_NE(opening.error()->localizedDescription().find(path.string() +
                                                           " is not used because it is a link"),
              std::string::npos);
  }
  EXPECT_TRUE(StoredDirectory::open(path, Kind::Settings, Missing::DoNotCreate)->has_value());
}

TEST_F(StoredDirectoryTest, IsNotAbsentWhereALinkLeadsNowhere) {
  fs::create_directory_symlink("/nonexistent/volume", temporary / "deep");
  for (const auto kind : {Kind::Private, Kind::Settings}) {
    for (const auto missing : {Missing::DoNotCreate, Missing::Create}) {
      EXPECT_FALSE(StoredDirectory::open(path, kind, missing));
    }
  }
}

TEST_F(StoredDirectoryTest, IsAbsentAndMadeBehindALinkThatLeadsSomewhere) {
  fs::create_directories(temporary / "real");
  fs::create_directory_symlink(temporary / "real", temporary / "link");
  fs::create_directory_symlink(temporary / "link", temporary / "deep");
  for (const auto kind : {Kind::Private, Kind::Settings}) {
    const auto opening = StoredDirectory::open(path, kind, Missing::DoNotCreate);
    ASSERT_TRUE(opening) << opening.error()->localizedDescription();
    EXPECT_FALSE(*opening);
    EXPECT_TRUE(StoredDirectory::open(path, kind, Missing::Create).value());
    fs::remove_all(temporary / "real");
    fs::create_directories(temporary / "real");
  }
}

TEST_F(StoredDirectoryTest, IsRefusedInAPrivateDirectoryOfAnotherUser) {
  // Only root can make a directory of another user; other users try one of root's.
  fs::path foreign = "/usr";
  if (geteuid() == 0) {
    fs::create_directories(path);
    ASSERT_EQ(chown(path.c_str(), 65534, 65534), 0);
    foreign = path;
  }
  const auto opening = StoredDirectory::open(foreign, Kind::Private, Missing::Create);
  ASSERT_FALSE(opening);
  EXPECT_TRUE(isRefusal(*opening.error()));
  EXPECT_NE(opening.error()->localizedDescription().find("belongs to another user"),
            std::string::npos);
}

TEST_F(StoredDirectoryTest, IsRefusedWhenItBelongsToAnotherUser) {
  // Only root can make a file of another user; other users try one of root's.
  fs::path foreign = "/etc/passwd";
  if (geteuid() == 0) {
    ASSERT_TRUE(open().replace("file", Data("planted")));
    ASSERT_EQ(chown(file.c_str(), 65534, 65534), 0);
    foreign = file;
  }
  const auto opening =
      StoredDirectory::open(foreign.parent_path(), Kind::Private, Missing::DoNotCreate);
  const auto reading = opening ? (*opening)->read(foreign.filename()) : Failure(opening.error());
  ASSERT_FALSE(reading);
  const auto& error = *reading.error();
  EXPECT_TRUE(isRefusal(error));
  EXPECT_NE(error.localizedDescription().find("belongs to another user"), std::string::npos);
  EXPECT_NE(
      detail(error, NSLocalizedRecoverySuggestionErrorKey).find(detail(error, NSFilePathErrorKey)),
      std::string::npos);
}

TEST_F(StoredDirectoryTest, ReportsAFileOnTheWay) {
  writeContent(temporary / "deep", "in the way");
  const auto opening = StoredDirectory::open(path, Kind::Private, Missing::DoNotCreate);
  ASSERT_FALSE(opening);
  EXPECT_EQ(opening.error()->code(), ENOTDIR);
}

}  // namespace
}  // namespace orx
