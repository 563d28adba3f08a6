#include "app/gtk/AgentChoices.h"

#include "app/TaskChoices.h"
#include "app/gtk/Controls.h"
#include "common/Text.h"

#include <algorithm>
#include <array>
#include <utility>

namespace vale::gtk {

namespace {

constexpr std::size_t mostListed = 12;
constexpr std::array providers{AgentProvider::claude, AgentProvider::codex};

GtkLabel* ellipsized(const std::string& text) {
  auto* label = GTK_LABEL(gtk_label_new(text.c_str()));
  gtk_label_set_ellipsize(label, PANGO_ELLIPSIZE_END);
  gtk_label_set_xalign(label, 0);
  return label;
}

/// The list in place of the former, with one of it selected.
void setList(GtkDropDown* choice, const std::vector<std::string>& names, std::size_t selected) {
  std::vector<const char*> texts;
  for (const auto& name : names) texts.push_back(name.c_str());
  texts.push_back(nullptr);
  const auto model = GObjectPointer<GtkStringList>::adopt(gtk_string_list_new(texts.data()));
  gtk_drop_down_set_model(choice, G_LIST_MODEL(model.get()));
  gtk_drop_down_set_selected(choice, static_cast<guint>(selected));
}

GtkDropDown* addChoice(GtkGrid* grid, int row, const char* name) {
  auto* label = gtk_label_new(name);
  gtk_label_set_xalign(GTK_LABEL(label), 0);
  auto* choice = gtk_drop_down_new(nullptr, nullptr);
  gtk_widget_set_hexpand(choice, TRUE);
  nameChoice(GTK_DROP_DOWN(choice), name);
  gtk_grid_attach(grid, label, 0, row, 1, 1);
  gtk_grid_attach(grid, choice, 1, row, 1, 1);
  return GTK_DROP_DOWN(choice);
}

}  // namespace

// Where it goes.

ProjectChoice::ProjectChoice(AgentDesk& desk, std::function<void(const std::string&)> failed)
    : desk_(desk),
      other_(
          desk,
          {.chosen = [this](const ProjectOffer& one) { choose(ToProject{.folder = one.folder}, one.name); },
           .failed = std::move(failed)}),
      button_(GTK_MENU_BUTTON(gtk_menu_button_new())), label_(ellipsized({})),
      popover_(GTK_POPOVER(gtk_popover_new())), rows_(gtk_box_new(GTK_ORIENTATION_VERTICAL, 0)) {
  gtk_widget_add_css_class(widget(), "flat");
  auto* line = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 6);
  gtk_box_append(GTK_BOX(line), gtk_image_new_from_icon_name("folder-symbolic"));
  gtk_box_append(GTK_BOX(line), GTK_WIDGET(label_));
  gtk_menu_button_set_child(button_, line);
  auto* scroller = gtk_scrolled_window_new();
  gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(scroller), GTK_POLICY_NEVER, GTK_POLICY_AUTOMATIC);
  gtk_scrolled_window_set_propagate_natural_height(GTK_SCROLLED_WINDOW(scroller), TRUE);
  gtk_scrolled_window_set_max_content_height(GTK_SCROLLED_WINDOW(scroller), 420);
  gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(scroller), rows_);
  gtk_widget_set_size_request(scroller, 260, -1);
  gtk_popover_set_child(popover_, scroller);
  gtk_menu_button_set_popover(button_, GTK_WIDGET(popover_));
  connections_.push_back(connect(popover_, "show", [this] { list(); }));
  show();
}

ProjectChoice::~ProjectChoice() {
  rowClicks_.clear();
  connections_.clear();
}

void ProjectChoice::list() {
  rowClicks_.clear();
  while (auto* child = gtk_widget_get_first_child(rows_)) gtk_box_remove(GTK_BOX(rows_), child);
  const auto add = [this](const std::string& name, const std::string& place, std::function<void()> work) {
    auto* button = gtk_button_new();
    auto* lines = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
    gtk_box_append(GTK_BOX(lines), GTK_WIDGET(ellipsized(name)));
    if (!place.empty()) {
      auto* below = ellipsized(place);
      gtk_widget_add_css_class(GTK_WIDGET(below), "caption");
      gtk_widget_add_css_class(GTK_WIDGET(below), "dim-label");
      gtk_box_append(GTK_BOX(lines), GTK_WIDGET(below));
    }
    gtk_button_set_child(GTK_BUTTON(button), lines);
    gtk_widget_add_css_class(button, "flat");
    gtk_accessible_update_property(GTK_ACCESSIBLE(button), GTK_ACCESSIBLE_PROPERTY_LABEL, name.c_str(), -1);
    rowClicks_.push_back(connect(button, "clicked", [this, work = std::move(work)] {
      gtk_popover_popdown(popover_);
      work();
    }));
    gtk_box_append(GTK_BOX(rows_), button);
  };
  const auto line = [this] { gtk_box_append(GTK_BOX(rows_), gtk_separator_new(GTK_ORIENTATION_HORIZONTAL)); };
  add("Find the Project", "An agent looks where the request belongs", [this] { choose(ToBeRouted{}, {}); });
  add("About This Page", "A conversation without a project", [this] { choose(ToPage{}, "About this page"); });
  const auto projects = desk_.projects();
  if (!projects.empty()) line();
  for (std::size_t i = 0; i < std::min(projects.size(), mostListed); ++i) {
    const auto& project = projects[i];
    add(project.name, project.place,
        [this, project] { choose(ToProject{.folder = project.folder}, project.name); });
  }
  line();
  add("Anywhere", "Work that belongs to no project",
      [this] { choose(ToProject{.folder = desk_.anywhereFolder()}, "Anywhere"); });
  add("Other Folder…", {}, [this] { other_.show(widget()); });
}

void ProjectChoice::choose(RequestDestination destination, std::string name) {
  chosen_ = std::move(destination);
  name_ = std::move(name);
  show();
}

void ProjectChoice::fix(std::optional<std::string> place) {
  fixed_ = std::move(place);
  show();
}

void ProjectChoice::reset() { choose(ToBeRouted{}, {}); }

void ProjectChoice::show() {
  const auto name = fixed_ ? *fixed_ : name_.empty() ? std::string("Find the project") : name_;
  gtk_label_set_text(label_, name.c_str());
  gtk_widget_set_sensitive(widget(), !fixed_);
  const auto tip = fixed_ ? "This conversation stays here" : "Where the request goes";
  gtk_widget_set_tooltip_text(widget(), tip);
  const auto spoken = "Where the request goes: " + name;
  gtk_accessible_update_property(GTK_ACCESSIBLE(button_), GTK_ACCESSIBLE_PROPERTY_LABEL, spoken.c_str(), -1);
}

// Who does it.

AgentChoice::AgentChoice(AgentDesk& desk) : desk_(desk), button_(GTK_MENU_BUTTON(gtk_menu_button_new())) {
  gtk_widget_add_css_class(widget(), "flat");
  auto* grid = GTK_GRID(gtk_grid_new());
  gtk_grid_set_row_spacing(grid, 6);
  gtk_grid_set_column_spacing(grid, 12);
  agents_ = addChoice(grid, 0, "Agent");
  models_ = addChoice(grid, 1, "Model");
  efforts_ = addChoice(grid, 2, "Effort");
  fallback_ = GTK_LABEL(gtk_label_new(nullptr));
  gtk_label_set_wrap(fallback_, TRUE);
  gtk_label_set_max_width_chars(fallback_, 34);
  gtk_label_set_xalign(fallback_, 0);
  gtk_widget_add_css_class(GTK_WIDGET(fallback_), "warning");
  gtk_grid_attach(grid, GTK_WIDGET(fallback_), 0, 3, 2, 1);
  auto* popover = gtk_popover_new();
  gtk_popover_set_child(GTK_POPOVER(popover), GTK_WIDGET(grid));
  gtk_menu_button_set_popover(button_, popover);
  const auto on = [this](GtkDropDown* choice, auto work) {
    connections_.push_back(connect(choice, "notify::selected", [this, choice, work](GParamSpec*) {
      const auto selected = gtk_drop_down_get_selected(choice);
      if (!setting_ && selected != GTK_INVALID_LIST_POSITION) work(static_cast<std::size_t>(selected));
    }));
  };
  on(agents_, [this](std::size_t index) {
    desk_.settings().setTaskProvider(index == 0 ? std::nullopt : std::optional(providers.at(index - 1)));
  });
  const auto chosen = [](const std::vector<std::string>& ids, std::size_t index) {
    return index == 0 || index > ids.size() ? std::nullopt : std::optional(ids[index - 1]);
  };
  on(models_, [this, chosen](std::size_t index) {
    desk_.settings().setTaskModel(chosen(modelIds_, index), provider());
  });
  on(efforts_, [this, chosen](std::size_t index) {
    desk_.settings().setTaskEffort(chosen(effortIds_, index), provider());
  });
  auto& settings = desk_.settings();
  // Later: a list is not to change while one of it is being chosen.
  const auto follow = [this](const auto&) {
    desk_.surroundings().main.post([this, weak = std::weak_ptr(alive_)] {
      if (!weak.expired()) show();
    });
  };
  subscriptions_.push_back(settings.taskProvider().subscribe(follow));
  subscriptions_.push_back(settings.taskModels().subscribe(follow));
  subscriptions_.push_back(settings.taskEfforts().subscribe(follow));
  subscriptions_.push_back(desk_.catalog().subscribe(follow));
  subscriptions_.emplace_back(desk_.agents().statusChanged().connect(follow));
  show();
}

AgentChoice::~AgentChoice() { connections_.clear(); }

AgentProvider AgentChoice::provider() const { return fixed_.value_or(desk_.usualProvider()); }

void AgentChoice::fix(std::optional<AgentProvider> provider) {
  if (std::exchange(fixed_, provider) != provider) show();
}

void AgentChoice::show() {
  setting_ = true;
  auto& settings = desk_.settings();
  const auto used = provider();
  const auto& wanted = settings.taskProvider().value();
  std::vector<std::string> names{"Automatic"};
  for (const auto one : providers) names.emplace_back(productName(one));
  const auto shown = fixed_ ? fixed_ : wanted;
  const auto place = shown ? std::ranges::find(providers, *shown) - providers.begin() + 1 : 0;
  setList(agents_, names, static_cast<std::size_t>(place));
  gtk_widget_set_sensitive(GTK_WIDGET(agents_), !fixed_);

  const auto& catalog = desk_.catalog().value();
  const auto model = settings.taskModel(used, catalog);
  names = {"Usual"};
  modelIds_.clear();
  std::size_t selected = 0;
  effortIds_.clear();
  for (const auto& one : desk_.models(used)) {
    modelIds_.push_back(one.id);
    names.push_back(singleLine(one.label.empty() ? one.id : one.label));
    if (one.id == model) selected = modelIds_.size();
    if (one.id == model || (!model && effortIds_.empty())) effortIds_ = one.efforts;
  }
  const auto modelName = model ? names[selected] : std::string();
  setList(models_, names, selected);

  const auto effort = settings.taskEffort(used, model, catalog);
  names = {"Usual"};
  for (const auto& one : effortIds_) names.push_back(singleLine(one));
  const auto known = effort ? std::ranges::find(effortIds_, *effort) : effortIds_.end();
  setList(efforts_, names,
          known == effortIds_.end() ? 0 : static_cast<std::size_t>(known - effortIds_.begin()) + 1);
  setting_ = false;

  std::string label(productName(used));
  if (!modelName.empty() && selected > 0) label = modelName;
  gtk_menu_button_set_label(button_, label.c_str());
  const auto spoken = "Agent: " + label;
  const auto fallback = taskFallback(settings, catalog, used);
  gtk_label_set_text(fallback_, fallback.c_str());
  gtk_widget_set_visible(GTK_WIDGET(fallback_), !fallback.empty());
  gtk_widget_set_tooltip_text(widget(), fallback.empty() ? "Agent, model and effort" : fallback.c_str());
  gtk_accessible_update_property(GTK_ACCESSIBLE(button_), GTK_ACCESSIBLE_PROPERTY_LABEL, spoken.c_str(), -1);
}

}  // namespace vale::gtk
