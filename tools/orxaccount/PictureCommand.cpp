// SPDX-License-Identifier: MIT
#include <ORXAccount/ORXAccount.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string_view>
#include <system_error>

#include "Commands.h"
#include "Output.h"
#include "Picture.h"
#include "Session.h"

namespace tool {
namespace {

// The customer number comes from the service: a "/" in it must not choose another folder.
std::string fileNameFor(const orx::ORVAAccountUser& user, const PictureFormat& format) {
  std::string name = "picture";
  if (const auto cusID = user.cusID()) {
    name += '-';
    for (const char letter : *cusID) {
      const bool harmless = (letter >= '0' && letter <= '9') || (letter >= 'a' && letter <= 'z') ||
                            (letter >= 'A' && letter <= 'Z');
      name += harmless ? letter : '_';
    }
  }
  return name + '.' + format.extension;
}

[[noreturn]] void failToWrite(const std::string& place) {
  throw Failure{ExitCode::Storage, "cannot write " + place + ": " + std::strerror(errno)};
}

// Writes all, or says in errno why not.
bool writeAll(int file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(file, bytes.data(), bytes.size());
    if (written == 0 || (written < 0 && errno != EINTR)) return false;
    if (written > 0) bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

// Makes the file, or fails where something of that name is: O_EXCL follows no link.
void writeNew(const std::string& place, std::string_view bytes, mode_t rights) {
  const int file = open(place.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, rights);
  if (file < 0) failToWrite(place);
  const bool done = writeAll(file, bytes);
  // Some file systems report a full disk only when the file is closed.
  if (close(file) == 0 && done) return;
  const int problem = errno;
  unlink(place.c_str());
  errno = problem;
  failToWrite(place);
}

// While it lives, signals that end the process wait, or a file would be left behind half written.
class SignalsWait {
 public:
  SignalsWait() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before_);
  }
  SignalsWait(const SignalsWait&) = delete;
  SignalsWait& operator=(const SignalsWait&) = delete;
  ~SignalsWait() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
  sigset_t before_ = {};
};

// A link is replaced, not followed: where it leads may be another's file. What is neither a file
// nor a link stays, or /dev/null would become a picture.
void replace(const std::string& place, std::string_view bytes) {
  struct stat before = {};
  const bool exists = lstat(place.c_str(), &before) == 0;
  if (exists && !S_ISREG(before.st_mode) && !S_ISLNK(before.st_mode)) {
    throw Failure{ExitCode::Storage, "cannot write " + place + ": it is no file"};
  }
  const bool isFile = exists && S_ISREG(before.st_mode);
  const std::string whole = place + ".new-" + std::to_string(getpid());
  writeNew(whole, bytes, isFile ? S_IRUSR | S_IWUSR : 0666);
  // Who could not read the file that is replaced cannot read the picture.
  const bool keepsRights = !isFile || chmod(whole.c_str(), before.st_mode & 0777) == 0;
  if (keepsRights && rename(whole.c_str(), place.c_str()) == 0) return;
  const int problem = errno;
  unlink(whole.c_str());
  errno = problem;
  failToWrite(place);
}

void save(const orx::Data& picture, const std::string& place, bool force) {
  const SignalsWait wait;
  if (force) return replace(place, picture.text());
  struct stat before = {};
  if (lstat(place.c_str(), &before) == 0) {
    throw Failure{ExitCode::Storage, place + " exists already; --force replaces it"};
  }
  writeNew(place, picture.text(), 0666);
}

// The current folder may have been removed, and nothing can be written there then.
std::string placeOf(const std::string& file) {
  std::error_code problem;
  const auto place = std::filesystem::absolute(file, problem);
  if (problem) {
    throw Failure{ExitCode::Storage, "cannot write " + file + ": " + problem.message()};
  }
  return place.string();
}

orx::Dictionary fieldsOf(const PictureFormat& format, const orx::Data& picture) {
  orx::Dictionary fields{{"format", format.name}, {"bytes", picture.size()}};
  if (format.size) {
    fields.set("width", format.size->width);
    fields.set("height", format.size->height);
  }
  return fields;
}

std::string describe(const PictureFormat& format, const orx::Data& picture) {
  std::string text = format.name + " picture, ";
  if (format.size) {
    text += std::to_string(format.size->width) + " x " + std::to_string(format.size->height) +
            " pixels, ";
  }
  return text + std::to_string(picture.size()) + " bytes";
}

// The file name that stands for standard output.
constexpr std::string_view kStandardOutput = "-";

// Looked at before anything is loaded.
void requireOutputForBytes(const GlobalOptions& options) {
  if (options.json) throw usageFailure("-o - writes the picture itself, so --json has no place");
  if (isatty(STDOUT_FILENO) == 1) {
    throw usageFailure("-o - would write the picture to the terminal; redirect it, or name a file");
  }
}

void runPicture(const GlobalOptions& options, const std::string& output, bool force) {
  const bool toOutput = output == kStandardOutput;
  if (toOutput) requireOutputForBytes(options);
  Session session(options);
  const auto user = Session::signedInUser();
  const orx::Data picture = session.loadPicture(user);
  if (picture.empty()) throw Failure{ExitCode::Refused, "the service sent an empty picture"};
  const PictureFormat format = formatOf(picture);
  const std::string description = describe(format, picture);
  if (toOutput) {
    if (options.verbose) printMessage(description);
    if (!writeAll(STDOUT_FILENO, picture.text())) failToWrite("to standard output");
    return;
  }
  const std::string place = placeOf(output.empty() ? fileNameFor(*user, format) : output);
  save(picture, place, force);
  orx::Dictionary fields = fieldsOf(format, picture);
  fields.set("file", place);
  Output(options).printDone(description + ", saved as " + place, fields);
}

}  // namespace

void addPictureCommand(CLI::App& app, const GlobalOptions& options) {
  auto output = std::make_shared<std::string>();
  auto force = std::make_shared<bool>(false);
  CLI::App& command =
      addCommand(app, "picture", "Save the signed-in user's picture",
                 [&options, output, force] { runPicture(options, *output, *force); });
  addText(command, "-o,--output", *output,
          "The file to write, or - for standard output; without it, one named after the customer",
          "FILE");
  addFlag(command, "--force", *force, "Replace a file, or a link, that is there already");
}

}  // namespace tool
