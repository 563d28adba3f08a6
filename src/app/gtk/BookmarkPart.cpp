#include "app/gtk/BookmarkPart.h"

#include "app/gtk/BookmarkBar.h"
#include "app/gtk/BookmarkCommands.h"
#include "app/gtk/BookmarkStar.h"

namespace vale::gtk {

namespace {

class BookmarkPart : public WindowPart {
 public:
  explicit BookmarkPart(const WindowPlace& place)
      : commands_(place), star_(place, commands_), bar_(place, commands_) {}

 private:
  BookmarkCommands commands_;
  BookmarkStar star_;
  BookmarkBar bar_;
};

}  // namespace

std::unique_ptr<WindowPart> makeBookmarkPart(const WindowPlace& place) {
  return std::make_unique<BookmarkPart>(place);
}

}  // namespace vale::gtk
