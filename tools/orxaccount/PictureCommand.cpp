#include <ORXAccount/ORXAccount.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>

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

void save(const orx::Data& picture, const std::filesystem::path& place) {
  errno = 0;
  std::ofstream file(place, std::ios::binary | std::ios::trunc);
  file << picture.text();
  file.close();
  if (!file) {
    throw Failure{ExitCode::Storage,
                  "cannot write " + place.string() + ": " + std::strerror(errno)};
  }
}

void runPicture(const GlobalOptions& options, const std::string& output) {
  Session session(options);
  const auto user = Session::signedInUser();
  const orx::Data picture = session.loadPicture(*user);
  if (picture.empty()) throw Failure{ExitCode::Refused, "the service sent an empty picture"};
  const PictureFormat format = formatOf(picture);
  const std::filesystem::path place =
      std::filesystem::absolute(output.empty() ? fileNameFor(*user, format) : output);
  save(picture, place);
  orx::Dictionary fields{
      {"format", format.name}, {"bytes", picture.size()}, {"file", place.string()}};
  std::string sentence = format.name + " picture, ";
  if (format.size) {
    fields.set("width", format.size->width);
    fields.set("height", format.size->height);
    sentence += std::to_string(format.size->width) + " x " + std::to_string(format.size->height) +
                " pixels, ";
  }
  sentence += std::to_string(picture.size()) + " bytes, saved as " + place.string();
  Output(options.json).printDone(sentence, fields);
}

}  // namespace

void addPictureCommand(CLI::App& app, const GlobalOptions& options) {
  auto output = std::make_shared<std::string>();
  CLI::App& command = addCommand(app, "picture", "Save the signed-in user's picture",
                                 [&options, output] { runPicture(options, *output); });
  addText(command, "-o,--output", *output,
          "The file to write; without it, one named after the customer");
}

}  // namespace tool
