#pragma once

#include <gtk/gtk.h>

namespace vale::gtk {

/// Says what a control is for, to the pointer and to assistive software: the toolkit itself takes a tooltip
/// for no more than a description, and calls a button by its icon's type.
void nameControl(GtkWidget* control, const char* name);

/// Names a choice, and the button in it, which is what has the keyboard.
void nameChoice(GtkDropDown* choice, const char* name);

/// Gives a control that stands in a row the row's title for its name.
void labelledBy(GtkWidget* control, GtkWidget* row);

/// A flat button with an icon only. Floating.
GtkWidget* flatButton(const char* icon, const char* name);

/// Closes a window of its own, such as a dialog, with the Escape key.
void closeWithEscape(GtkWindow* window);

}  // namespace vale::gtk
