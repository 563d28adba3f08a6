#include "app/gtk/Style.h"

#include "app/gtk/GObjectPointer.h"

#include <fmt/format.h>

#include <string>

namespace vale::gtk {

namespace {

// Colours by name follow the light and the dark style; a group's own colour is readable on both.
constexpr const char* rules = R"css(
.wall { background: @headerbar_bg_color; color: @headerbar_fg_color; }
.wall headerbar { background: none; box-shadow: none; min-height: 46px; }
.wall listview, .wall gridview, .strip listview { background: none; color: inherit; }
.wall listview:drop(active), .wall gridview:drop(active), .strip listview:drop(active) { box-shadow: none; border-color: transparent; }
.wall listview { padding: 0 6px 6px 6px; }
.wall listview > row, .wall gridview > child, .strip listview > row { background: none; }
.wall listview > row { padding: 0; margin: 1px 0; border-radius: 8px; }
.wall gridview { padding: 4px 6px; }
.wall gridview > child { padding: 0; margin: 1px; border-radius: 8px; }
.wall .foot { padding: 6px; }
.wall .foot button label { font-weight: normal; }
.strip { background: @headerbar_bg_color; border-bottom: 1px solid alpha(currentColor, .12); padding: 3px 6px; }
.strip listview > row { padding: 0; margin: 0 1px; border-radius: 8px; }
.tab { min-height: 32px; padding: 0 8px; border-radius: 8px; border: 1px solid transparent; }
.tab:hover { background: alpha(currentColor, .06); }
.tab.selected { background: alpha(currentColor, .12); }
.tab.sleeping > label { opacity: .7; }
.tab.sleeping > image { opacity: .5; }
.tab.group > label { font-weight: bold; font-size: smaller; }
.tab .row-button { min-width: 22px; min-height: 22px; padding: 0; margin: 0 -3px 0 0; border-radius: 11px; }
.tab.drop-into { background: alpha(@accent_bg_color, .25); }
.tab .dot { min-width: 10px; min-height: 10px; border-radius: 5px; }
.wall .tab.grouped { margin-left: 10px; border-radius: 0 8px 8px 0; border-left-width: 3px; }
.wall gridview .tab { padding: 0; min-width: 36px; }
.wall gridview .tab.playing { box-shadow: inset 0 -2px @accent_bg_color; }
.strip .tab.group { border-radius: 8px; }
.strip .tab.grouped { border-bottom-width: 2px; border-radius: 8px 8px 0 0; }
.wall .tab.drop-before { box-shadow: 0 -2px @accent_bg_color; }
.wall .tab.drop-after { box-shadow: 0 2px @accent_bg_color; }
.strip .tab.drop-before, .wall gridview .tab.drop-before { box-shadow: -2px 0 @accent_bg_color; }
.strip .tab.drop-after, .wall gridview .tab.drop-after { box-shadow: 2px 0 @accent_bg_color; }
.peek { box-shadow: 2px 0 8px alpha(black, .3); }
.edge { min-width: 5px; }
.notice { padding: 8px 12px; background: alpha(@warning_bg_color, .25); border-bottom: 1px solid alpha(currentColor, .12); }
button.swatch { min-width: 22px; min-height: 22px; padding: 0; border-radius: 13px; border: 2px solid transparent; }
button.swatch:checked { border-color: currentColor; }
popover.suggestions > contents { padding: 4px; }
popover.suggestions.solid > contents { margin: 0; border-radius: 0; box-shadow: none; border: 1px solid alpha(currentColor, .2); }
popover.suggestions list { background: none; }
popover.suggestions row { padding: 6px 10px; border-radius: 8px; min-height: 22px; }
popover.suggestions row .wish { font-size: smaller; color: @accent_color; }
.information { padding: 8px 12px; background: alpha(@accent_bg_color, .15); border-bottom: 1px solid alpha(currentColor, .12); }
.find-bar { padding: 6px 12px; background: @headerbar_bg_color; color: @headerbar_fg_color; border-bottom: 1px solid alpha(currentColor, .12); }
.link-status { padding: 2px 8px; font-size: smaller; background: @popover_bg_color; color: @popover_fg_color; border: 1px solid alpha(currentColor, .2); }
.fullscreen-note { margin: 24px; padding: 10px 18px; border-radius: 999px; background: alpha(black, .85); color: white; }
.page-cover { background: alpha(black, .35); padding: 12px; }
.page-dialog { padding: 18px; border-radius: 12px; background: @dialog_bg_color; color: @dialog_fg_color; box-shadow: 0 2px 12px alpha(black, .4); }
.agent-panel { background: @window_bg_color; }
.agent-handle { min-width: 1px; padding: 0 2px; background: none; border-left: 1px solid alpha(currentColor, .15); }
.agent-header { padding: 4px 6px; border-bottom: 1px solid alpha(currentColor, .12); }
.agent-transcript { padding: 12px; }
.agent-empty { margin: 24px; }
.agent-request { padding: 8px 12px; border-radius: 10px; background: alpha(@accent_bg_color, .16); }
.agent-card { padding: 4px 8px; border-radius: 8px; background: alpha(currentColor, .05); }
.agent-card.thinking { background: none; padding: 0 8px; }
.agent-card.thinking > expander-widget > box > title { opacity: .7; }
.agent-card .details { padding: 6px 0 4px 0; }
.agent-error { padding: 8px 12px; border-radius: 8px; background: alpha(@error_bg_color, .16); }
.agent-transcript .code { border-radius: 6px; background: alpha(currentColor, .06); }
.agent-transcript .code label { padding: 6px 8px; font-size: smaller; }
.agent-transcript .quote { border-left: 3px solid alpha(currentColor, .2); padding-left: 8px; }
.agent-work { padding: 6px 12px; }
.agent-choice { padding: 10px 12px; border-top: 1px solid alpha(currentColor, .12); }
.agent-queue { padding: 6px 12px; border-top: 1px solid alpha(currentColor, .12); }
.agent-composer { padding: 8px 10px 10px 10px; border-top: 1px solid alpha(currentColor, .12); }
.agent-text { border-radius: 8px; background: @view_bg_color; border: 1px solid alpha(currentColor, .15); }
.agent-text:focus-within { border-color: @accent_bg_color; }
.agent-text textview, .agent-text textview text { background: none; }
.agent-text textview { padding: 8px 10px; }
.agent-text .placeholder { padding: 8px 10px; }
.agent-chip { padding: 0 2px 0 8px; border-radius: 999px; background: alpha(currentColor, .08); font-size: smaller; }
.agent-chip button { min-width: 20px; min-height: 20px; padding: 0; border-radius: 10px; }
progressbar.download-progress trough, progressbar.download-progress progress { min-height: 3px; min-width: 0; }
progressbar.download-progress.unknown progress { opacity: .5; }
.download-note { margin: 8px; padding: 6px 12px; border-radius: 8px; }
popover.download-list .notice { border-radius: 8px; border: none; }
popover.download-list list { background: none; }
popover.download-list row { padding: 6px; border-radius: 8px; }
.bookmarks-bar { padding: 3px 6px; min-height: 28px; background: @headerbar_bg_color; color: @headerbar_fg_color; border-bottom: 1px solid alpha(currentColor, .12); }
.bookmarks-bar button { min-height: 26px; padding: 0 8px; font-weight: normal; }
.bookmarks-bar .drop-before { box-shadow: inset 2px 0 @accent_bg_color; }
.bookmarks-bar .drop-after { box-shadow: inset -2px 0 @accent_bg_color; }
.bookmarks-bar .drop-into { background: alpha(@accent_bg_color, .25); border-radius: 6px; }
.account-warning { padding: 4px 10px; font-size: smaller; color: @warning_color; }
.private-mark { padding: 2px 10px; border-radius: 999px; background: alpha(white, .18); font-weight: bold; font-size: smaller; }
window.private headerbar, window.private .wall, window.private .strip, window.private .bookmarks-bar { background-color: #33264f; color: #f4f0ff; }
window.private headerbar:backdrop, window.private .wall:backdrop, window.private .strip:backdrop { background-color: #2b2142; }
window.private .wall headerbar { background: none; }
)css";

struct ColorRule {
  TabGroupColor color;
  const char* name;
  const char* value;
};

constexpr ColorRule colors[] = {
    {TabGroupColor::gray, "group-gray", "#8a8a8f"},     {TabGroupColor::blue, "group-blue", "#3584e4"},
    {TabGroupColor::red, "group-red", "#e0403c"},       {TabGroupColor::yellow, "group-yellow", "#d9a400"},
    {TabGroupColor::green, "group-green", "#2fa866"},   {TabGroupColor::pink, "group-pink", "#e0609e"},
    {TabGroupColor::purple, "group-purple", "#9a55c4"}, {TabGroupColor::cyan, "group-cyan", "#1ba6b8"},
    {TabGroupColor::orange, "group-orange", "#ea7a1c"},
};

}  // namespace

const char* colorClass(TabGroupColor color) {
  for (const auto& rule : colors) {
    if (rule.color == color) return rule.name;
  }
  return colors[0].name;
}

void installStyle(GdkDisplay* display) {
  constexpr const char* key = "vale-style";
  if (g_object_get_data(G_OBJECT(display), key)) return;
  std::string text = rules;
  for (const auto& [color, name, value] : colors) {
    text += fmt::format(".{0} .dot, button.swatch.{0} {{ background: {1}; }} "
                        ".wall .tab.grouped.{0} {{ border-left-color: {1}; }} "
                        ".strip .tab.grouped.{0} {{ border-bottom-color: {1}; }} "
                        ".strip .tab.group.{0} {{ background: alpha({1}, .22); }}\n",
                        name, value);
  }
  const auto provider = GObjectPointer<GtkCssProvider>::adopt(gtk_css_provider_new());
  gtk_css_provider_load_from_data(provider.get(), text.c_str(), -1);
  gtk_style_context_add_provider_for_display(display, GTK_STYLE_PROVIDER(provider.get()),
                                             GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
  g_object_set_data(G_OBJECT(display), key, provider.get());
}

}  // namespace vale::gtk
