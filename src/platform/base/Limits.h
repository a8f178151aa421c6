// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

// Every ceiling of what the library reads and of how long it waits for other processes, with its
// unit and reason. What a host may choose (the size of an answer and of its headers) is in
// URLSessionConfiguration.
namespace orx::platform::limits {

// Nested arrays and dictionaries. Values are destroyed and written recursively; the service nests
// three deep.
inline constexpr std::size_t jsonDepth = 512;

// Values in one JSON text. Each takes 40 bytes of memory or more, however short its text.
inline constexpr std::size_t jsonValues = 4'000'000;

// Elements of one XML document, each of which may become an entry of a dictionary.
inline constexpr std::size_t xmlElements = 1'000'000;

// Open elements of an XML document. The service nests five deep.
inline constexpr std::size_t xmlDepth = 1024;

// What the DTD of an XML document declares: entities, attributes and notations together. Entities
// may be nested in each other, and each level costs machine stack; each element gets all attributes
// that have a default. The service declares none of them. Elements are not counted: their
// declaration leaves nothing behind, and to be told of them costs fifty times more.
inline constexpr std::size_t xmlDeclarations = 256;

// How many times its own size a document may grow to by its entities, once it has grown beyond the
// threshold (in bytes).
inline constexpr float xmlAmplification = 4;
inline constexpr unsigned long long xmlAmplificationThreshold = 64ULL * 1024;

// Objects of one property list. What is one object to an archive takes up to four here.
inline constexpr std::size_t propertyListObjects = 5'000'000;

// Objects of one keyed archive. A user record has some fifty.
inline constexpr std::size_t archiveObjects = 1'000'000;

// Nested containers of one keyed archive; restored values are destroyed recursively.
inline constexpr std::size_t archiveDepth = 512;

// What one keyed archive of `size` bytes may give: entries plus bytes of text and data, each
// counted as often as it is referred to. References can fan out: thirty arrays that each hold the
// next one twice are a billion entries to whoever compares or walks them. What is there once comes
// to no more than three bytes for each of the archive's; the rest is for what is referred to again.
inline constexpr std::size_t archiveExpansion = std::size_t{4} * 1024 * 1024;
constexpr std::uint64_t archiveAllowance(std::uint64_t size) { return 4 * size + archiveExpansion; }

// Bytes of a stored file (user defaults, keychain item) that is read into memory.
inline constexpr std::size_t storedFileSize = std::size_t{64} * 1024 * 1024;

// Characters of a secret in the user's keyring. Services keep them in memory that is never paged
// out, of which there is little.
inline constexpr std::size_t keyringSecretSize = std::size_t{16} * 1024 * 1024;

// How long one call on the stores may wait for other processes: for a lock, for a service.
inline constexpr std::chrono::seconds storeWait{2};

// How long it may wait once a service has issued a prompt, which somebody must read and answer.
inline constexpr std::chrono::seconds storeWaitWithPrompt{120};

// Redirects that one transfer follows.
inline constexpr long redirects = 20;

}  // namespace orx::platform::limits
