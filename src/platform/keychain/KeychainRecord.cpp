#include "platform/keychain/KeychainRecord.h"

#include <array>

namespace orx::platform {

namespace {

using Place = KeychainRecord::Place;

constexpr std::string_view wordOf(Place place) {
  switch (place) {
    case Place::Nowhere:
      return "nowhere";
    case Place::SecretService:
      return "secret-service";
    case Place::File:
      return "file";
  }
  return {};
}

// A format that never changes.
std::string textOf(const KeychainRecord& record) {
  std::string text = "newest: " + std::string(wordOf(record.newest)) + "\nstale:";
  if (record.staleInSecretService) text += " secret-service";
  if (record.staleInFile) text += " file";
  return text + "\n";
}

std::optional<KeychainRecord> recordIn(std::string_view text) {
  for (const auto place : {Place::Nowhere, Place::SecretService, Place::File}) {
    for (const bool inService : {false, true}) {
      for (const bool inFile : {false, true}) {
        const KeychainRecord record{
            .newest = place, .staleInSecretService = inService, .staleInFile = inFile};
        if (text == textOf(record)) return record;
      }
    }
  }
  return std::nullopt;
}

}  // namespace

KeychainRecordReading readKeychainRecord(const StoredDirectory& directory,
                                         const std::string& fileName) {
  KeychainRecordReading reading;
  auto file = directory.read(fileName);
  reading.problem = std::move(file.problem);
  if (!file.bytes) return reading;
  reading.record = recordIn(file.bytes->text());
  reading.damaged = !reading.record;
  return reading;
}

FileOutcome writeKeychainRecord(const StoredDirectory& directory, const std::string& fileName,
                                const KeychainRecord& record) {
  if (record.newest == Place::SecretService || record.hasStale()) {
    return directory.replace(fileName, Data(textOf(record)));
  }
  const auto presence = directory.presenceOf(fileName);
  if (presence.problem) return presence.problem;
  return presence.present ? directory.remove(fileName) : std::nullopt;
}

}  // namespace orx::platform
