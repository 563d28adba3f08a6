#include "browser/BookmarkFile.h"

#include "common/FileDescriptor.h"
#include "common/PrivateFiles.h"

namespace vale {
namespace {

constexpr std::size_t largestFile = 256 << 20;

}  // namespace

bool BookmarkFile::exists() const {
  std::error_code error;
  const auto status = std::filesystem::symlink_status(url, error);
  // What cannot even be looked at must not be taken for a place to write to.
  return status.type() != std::filesystem::file_type::not_found;
}

BookmarkCollection BookmarkFile::read() const {
  const auto text = readFile(url, largestFile);
  if (!text) throw text.error();
  return decodeText<BookmarkCollection>(*text);
}

void BookmarkFile::write(const BookmarkCollection& collection) const {
  PrivateFiles::writeIfChanged(bytes(collection), url);
}

std::string BookmarkFile::bytes(const BookmarkCollection& collection) {
  return jsonText(encode(collection)) + "\n";
}

}  // namespace vale
