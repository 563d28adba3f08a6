#include "app/gtk/BookmarkBarLayout.h"

#include <algorithm>

namespace vale::gtk::BookmarkBarLayout {

namespace {

constexpr int gap = 2;
constexpr const char* shownKey = "vale-shown";
constexpr const char* moreKey = "vale-more";

int widthOf(GtkWidget* child) {
  int natural = 0;
  gtk_widget_measure(child, GTK_ORIENTATION_HORIZONTAL, -1, nullptr, &natural, nullptr, nullptr);
  return natural;
}

void measure(GtkWidget* box, GtkOrientation orientation, int, int* minimum, int* natural, int*, int*) {
  *minimum = *natural = 0;
  for (auto* child = gtk_widget_get_first_child(box); child; child = gtk_widget_get_next_sibling(child)) {
    int least = 0, usual = 0;
    gtk_widget_measure(child, orientation, -1, &least, &usual, nullptr, nullptr);
    const bool isLast = child == gtk_widget_get_last_child(box);
    if (orientation == GTK_ORIENTATION_VERTICAL) {
      *minimum = std::max(*minimum, least);
      *natural = std::max(*natural, usual);
    } else {
      *natural += usual + gap;
      if (isLast) *minimum = usual;
    }
  }
}

void allocate(GtkWidget* box, int width, int height, int) {
  auto* last = gtk_widget_get_last_child(box);
  if (!last) return;
  int all = 0;
  for (auto* child = gtk_widget_get_first_child(box); child != last;
       child = gtk_widget_get_next_sibling(child)) {
    all += widthOf(child) + gap;
  }
  const bool needsLast = all > width || g_object_get_data(G_OBJECT(box), moreKey);
  const int room = needsLast ? width - widthOf(last) - gap : width;
  int at = 0, count = 0;
  bool fits = true;
  const bool mirrored = gtk_widget_get_direction(box) == GTK_TEXT_DIR_RTL;
  const auto put = [&](GtkWidget* child, int begin, int length) {
    const GtkAllocation place{mirrored ? width - begin - length : begin, 0, length, height};
    gtk_widget_size_allocate(child, &place, -1);
  };
  for (auto* child = gtk_widget_get_first_child(box); child != last;
       child = gtk_widget_get_next_sibling(child)) {
    const int length = widthOf(child);
    fits = fits && at + length <= room;
    gtk_widget_set_child_visible(child, fits);
    if (!fits) continue;
    put(child, at, length);
    at += length + gap;
    ++count;
  }
  gtk_widget_set_child_visible(last, needsLast);
  if (needsLast) put(last, std::max(0, width - widthOf(last)), widthOf(last));
  g_object_set_data(G_OBJECT(box), shownKey, GINT_TO_POINTER(count));
}

}  // namespace

void install(GtkWidget* box) {
  gtk_widget_set_layout_manager(box, gtk_custom_layout_new(nullptr, measure, allocate));
}

int shown(GtkWidget* box) { return GPOINTER_TO_INT(g_object_get_data(G_OBJECT(box), shownKey)); }

void setHasMore(GtkWidget* box, bool hasMore) {
  g_object_set_data(G_OBJECT(box), moreKey, GINT_TO_POINTER(hasMore ? 1 : 0));
}

}  // namespace vale::gtk::BookmarkBarLayout
