#include "browser/SessionFile.h"

#include "common/FileDescriptor.h"

#include <cerrno>

namespace vale {

std::optional<std::string> SessionFile::bytes() const {
  auto text = readFile(url, largestFile);
  if (text) return std::move(*text);
  if (text.error().code == ENOENT) return std::nullopt;
  if (text.error().code == EFBIG) throw FileError("read", url, EFBIG, "It is larger than 512 MiB");
  throw text.error();
}

std::optional<Session> SessionFile::read() const {
  const auto text = bytes();
  if (!text) return std::nullopt;
  return decode(*text);
}

Session SessionFile::decode(const std::string& bytes) { return decodeText<Session>(bytes); }

std::string SessionFile::encode(const Session& session) { return jsonText(vale::encode(session)) + "\n"; }

}  // namespace vale
