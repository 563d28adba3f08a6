#include "app/BookmarkTransfer.h"

#include "browser/BookmarkHtml.h"
#include "common/Error.h"
#include "common/FileDescriptor.h"
#include "common/PrivateFiles.h"
#include "common/Text.h"

#include <fmt/format.h>

#include <expected>
#include <utility>

namespace vale {

namespace {

std::string counted(std::size_t count) { return fmt::format("{} bookmark{}", count, count == 1 ? "" : "s"); }

std::string nameOf(const std::filesystem::path& file) {
  return singleLine(validUtf8(file.filename().native()));
}

std::expected<std::vector<ImportedBookmark>, Error> readImport(const std::filesystem::path& file) {
  const auto text = readFile(file, BookmarkHtml::largestFile);
  if (!text) return std::unexpected(Error(text.error().message));
  return BookmarkHtml::read(*text);
}

}  // namespace

BookmarkTransfer::BookmarkTransfer(Bookmarks& bookmarks, Surroundings surroundings)
    : bookmarks_(bookmarks), surroundings_(std::move(surroundings)),
      queue_(surroundings_.workers, "Vale.bookmarks"), self_(std::make_shared<BookmarkTransfer*>(this)) {}

void BookmarkTransfer::importFrom(const std::filesystem::path& file, Done done) {
  queue_.post([file, main = surroundings_.main, weak = std::weak_ptr(self_), done = std::move(done)] {
    main.post([file, weak, done, found = readImport(file)] {
      const auto self = weak.lock();
      if (!self) return;
      done(found ? (*self)->take(*found, file) : BookmarkTransferResult{found.error().message, true});
    });
  });
}

BookmarkTransferResult BookmarkTransfer::take(const std::vector<ImportedBookmark>& found,
                                              const std::filesystem::path& file) {
  if (found.empty()) {
    return {
        fmt::format("“{}” holds no bookmarks. Choose the HTML file that a browser exported.", nameOf(file)),
        true};
  }
  const auto count = bookmarks_.add(found);
  auto sentence = count.added == 0 ? std::string("Nothing new was imported")
                                   : fmt::format("{} imported", counted(count.added));
  if (count.known > 0)
    sentence += fmt::format("; {} {} there already", count.known, count.known == 1 ? "was" : "were");
  if (count.unusable > 0) {
    sentence += fmt::format("; {} left out, whose address Vale does not open", count.unusable);
  }
  return {sentence + "."};
}

void BookmarkTransfer::exportTo(const std::filesystem::path& file, Done done) {
  queue_.post([file, html = BookmarkHtml::write(bookmarks_), count = bookmarks_.all().size(),
               main = surroundings_.main, weak = std::weak_ptr(self_), done = std::move(done)] {
    BookmarkTransferResult result{fmt::format("{} exported to “{}”.", counted(count), nameOf(file))};
    try {
      PrivateFiles::write(html, file);
    } catch (const Error& error) {
      result = {error.message, true};
    }
    main.post([weak, done, result = std::move(result)] {
      if (weak.lock()) done(result);
    });
  });
}

}  // namespace vale
