#include "app/gtk/AgentActivityView.h"

#include "app/gtk/Controls.h"
#include "app/gtk/MarkdownView.h"
#include "common/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace vale::gtk {

namespace {

constexpr std::size_t mostOffers = 5;
constexpr std::size_t mostProjects = 20;
constexpr int tallestChoice = 300, tallestQueue = 180;  // logical pixels

void clear(GtkWidget* box) {
  while (auto* child = gtk_widget_get_first_child(box)) gtk_box_remove(GTK_BOX(box), child);
}

GtkLabel* line(const std::string& text) {
  auto* label = GTK_LABEL(gtk_label_new(text.c_str()));
  gtk_label_set_ellipsize(label, PANGO_ELLIPSIZE_END);
  gtk_label_set_xalign(label, 0);
  return label;
}

GtkLabel* dim(const std::string& text) {
  auto* label = newTextLabel();
  gtk_label_set_selectable(label, FALSE);
  gtk_label_set_text(label, text.c_str());
  gtk_widget_add_css_class(GTK_WIDGET(label), "dim-label");
  gtk_widget_add_css_class(GTK_WIDGET(label), "caption");
  return label;
}

/// A list that grows to a height, and scrolls then.
GtkWidget* scrolled(GtkWidget* list, int tallest) {
  auto* scroller = gtk_scrolled_window_new();
  gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(scroller), GTK_POLICY_NEVER, GTK_POLICY_AUTOMATIC);
  gtk_scrolled_window_set_propagate_natural_height(GTK_SCROLLED_WINDOW(scroller), TRUE);
  gtk_scrolled_window_set_max_content_height(GTK_SCROLLED_WINDOW(scroller), tallest);
  gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(scroller), list);
  return scroller;
}

}  // namespace

AgentActivityView::AgentActivityView(AgentDesk& desk, AgentConversation& conversation, Host host)
    : desk_(desk), conversation_(conversation), host_(std::move(host)),
      other_(desk, {.chosen = [this](const ProjectOffer& one) { conversation_.chooseProject(one.folder); },
                    .failed = [this](const std::string& sentence) { host_.failed(sentence); }}),
      box_(GObjectPointer<GtkWidget>::share(gtk_box_new(GTK_ORIENTATION_VERTICAL, 0))),
      work_(gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 8)), spinner_(GTK_SPINNER(gtk_spinner_new())),
      sentence_(line({})), choice_(gtk_box_new(GTK_ORIENTATION_VERTICAL, 6)),
      queue_(gtk_box_new(GTK_ORIENTATION_VERTICAL, 4)), lines_(nullptr) {
  gtk_widget_add_css_class(work_, "agent-work");
  gtk_box_append(GTK_BOX(work_), GTK_WIDGET(spinner_));
  gtk_box_append(GTK_BOX(work_), GTK_WIDGET(sentence_));
  gtk_widget_add_css_class(choice_, "agent-choice");
  gtk_widget_add_css_class(queue_, "agent-queue");
  gtk_accessible_update_property(GTK_ACCESSIBLE(queue_), GTK_ACCESSIBLE_PROPERTY_LABEL, "Waiting requests",
                                 -1);
  for (auto* part : {work_, choice_, queue_}) {
    gtk_widget_set_visible(part, FALSE);
    gtk_box_append(GTK_BOX(widget()), part);
  }
}

AgentActivityView::~AgentActivityView() {
  choices_.clear();
  lineClicks_.clear();
}

void AgentActivityView::refresh() {
  auto activity = conversation_.activity();
  if (activity != shown_) {
    const auto former = std::exchange(shown_, activity);
    showWork(activity);
    const bool chooses = activity.step == AgentActivity::Step::choosing;
    if (chooses || former.step == AgentActivity::Step::choosing) showChoice(activity);
  }
  auto waiting = conversation_.waiting();
  auto pause = conversation_.pauseSentence();
  if (waiting == shownQueue_ && pause == shownPause_) return;
  shownQueue_ = std::move(waiting);
  shownPause_ = std::move(pause);
  showQueue();
}

void AgentActivityView::showWork(const AgentActivity& activity) {
  using Step = AgentActivity::Step;
  const bool works = activity.step != Step::idle && activity.step != Step::choosing;
  gtk_widget_set_visible(work_, works);
  // At rest it takes no time of the machine's.
  gtk_spinner_set_spinning(spinner_, works);
  tick_.cancel();
  if (works) showTime();
}

void AgentActivityView::showTime() {
  auto text = shown_.sentence;
  if (shown_.since) {
    const auto time =
        Seconds(static_cast<double>((desk_.surroundings().clock.now() - *shown_.since).count()));
    if (time >= Seconds(2)) text += " " + spokenDuration(time);
  }
  gtk_label_set_text(sentence_, text.c_str());
  tick_ = desk_.surroundings().clock.schedule(Seconds(1), [this] { showTime(); });
}

GtkWidget* AgentActivityView::button(GtkWidget* box, const char* label, const char* tip,
                                     std::function<void()> work) {
  auto* made = gtk_button_new_with_mnemonic(label);
  gtk_widget_set_tooltip_text(made, tip);
  // Later: what is chosen takes the buttons along.
  adding_->push_back(connect(made, "clicked", [this, work = std::move(work)] {
    desk_.surroundings().main.post([alive = std::weak_ptr(alive_), work] {
      if (!alive.expired()) work();
    });
  }));
  gtk_box_append(GTK_BOX(box), made);
  return made;
}

void AgentActivityView::showChoice(const AgentActivity& activity) {
  choices_.clear();
  clear(choice_);
  adding_ = &choices_;
  const bool chooses = activity.step == AgentActivity::Step::choosing;
  gtk_widget_set_visible(choice_, chooses);
  if (!chooses) return;
  auto* sentence = newTextLabel();
  gtk_label_set_text(sentence, activity.sentence.c_str());
  gtk_widget_add_css_class(GTK_WIDGET(sentence), "heading");
  gtk_box_append(GTK_BOX(choice_), GTK_WIDGET(sentence));
  if (!activity.reason.empty()) gtk_box_append(GTK_BOX(choice_), GTK_WIDGET(dim(activity.reason)));
  auto* list = gtk_box_new(GTK_ORIENTATION_VERTICAL, 4);
  const auto offer = [&](const std::string& name, const std::string& reason,
                         const std::filesystem::path& folder) {
    auto* one = button(list, "", folder.c_str(), [this, folder] { conversation_.chooseProject(folder); });
    auto* lines = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
    gtk_box_append(GTK_BOX(lines), GTK_WIDGET(line(name)));
    if (!reason.empty()) gtk_box_append(GTK_BOX(lines), GTK_WIDGET(dim(reason)));
    gtk_button_set_child(GTK_BUTTON(one), lines);
    gtk_accessible_update_property(GTK_ACCESSIBLE(one), GTK_ACCESSIBLE_PROPERTY_LABEL, name.c_str(), -1);
  };
  if (activity.offers.empty()) {
    // Nobody knows better: all there are, the lately used first.
    const auto projects = desk_.projects();
    for (std::size_t i = 0; i < std::min(projects.size(), mostProjects); ++i)
      offer(projects[i].name, projects[i].place, projects[i].folder);
  }
  for (std::size_t i = 0; i < std::min(activity.offers.size(), mostOffers); ++i)
    offer(singleLine(activity.offers[i].name), singleLine(activity.offers[i].reason),
          activity.offers[i].projectID);
  gtk_box_append(GTK_BOX(choice_), scrolled(list, tallestChoice));
  auto* others = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 6);
  button(others, "Other _Folder…", "Choose another folder of this machine",
         [this] { other_.show(widget()); });
  button(others, "No _Project", "Make it a conversation about the page",
         [this] { conversation_.choosePage(); });
  if (activity.canRouteAgain)
    button(others, "Try _Again", "Let the agent look once more", [this] { conversation_.routeAgain(); });
  button(others, "_Edit", "Take the request back into the text below",
         [this] { host_.takenBack(conversation_.takeBack()); });
  gtk_box_append(GTK_BOX(choice_), others);
}

void AgentActivityView::showQueue() {
  lineClicks_.clear();
  clear(queue_);
  adding_ = &lineClicks_;
  gtk_widget_set_visible(queue_, !shownQueue_.empty());
  if (shownQueue_.empty()) return;
  auto* head = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 6);
  auto* title = dim(shownPause_.empty() ? "Waiting" : shownPause_);
  gtk_widget_set_hexpand(GTK_WIDGET(title), TRUE);
  gtk_box_append(GTK_BOX(head), GTK_WIDGET(title));
  if (!shownPause_.empty())
    button(head, "_Resume", "Go on with what waits", [this] { conversation_.resume(); });
  gtk_box_append(GTK_BOX(queue_), head);
  lines_ = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
  gtk_box_append(GTK_BOX(queue_), scrolled(lines_, tallestQueue));
  for (std::size_t i = 0; i < shownQueue_.size(); ++i) showWaiting(i);
  moved_.reset();
}

void AgentActivityView::move(std::size_t index, std::size_t to) {
  if (index >= shownQueue_.size()) return;
  moved_ = Moved{.id = shownQueue_[index].id, .earlier = to < index};
  if (!desk_.hub().move(moved_->id, to)) moved_.reset();
}

void AgentActivityView::showWaiting(std::size_t index) {
  const auto& request = shownQueue_[index];
  auto* row = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
  gtk_widget_add_css_class(row, "agent-waiting");
  gtk_box_append(GTK_BOX(lines_), row);
  const auto words = singleLine(std::string(firstCharacters(request.words, 200)));
  auto shown = words;
  if (!request.isHere) shown += " (another conversation)";
  if (request.access == AgentAccess::projectWrite) shown += " · may write";
  auto* label = line(shown);
  gtk_widget_set_tooltip_text(GTK_WIDGET(label), words.c_str());
  gtk_widget_set_hexpand(GTK_WIDGET(label), TRUE);
  gtk_box_append(GTK_BOX(row), GTK_WIDGET(label));
  const auto icon = [&](const char* name, const std::string& meaning, std::function<void()> work) {
    auto* one = button(row, "", "", std::move(work));
    gtk_button_set_icon_name(GTK_BUTTON(one), name);
    gtk_widget_add_css_class(one, "flat");
    nameControl(one, meaning.c_str());
    return one;
  };
  const auto mover = [&](const char* name, const char* way, bool can, std::size_t to) {
    auto* one = icon(name, fmt::format("Send “{}” {}", words, way), [this, index, to] { move(index, to); });
    gtk_widget_set_sensitive(one, can);
    return one;
  };
  auto* up = mover("go-up-symbolic", "earlier", index > 0, index - 1);
  auto* down = mover("go-down-symbolic", "later", index + 1 < shownQueue_.size(), index + 1);
  if (moved_ && moved_->id == request.id) {
    // The next step the same way is one more press of the key.
    const bool further = gtk_widget_get_sensitive(moved_->earlier ? up : down);
    gtk_widget_grab_focus(moved_->earlier == further ? up : down);
  }
  if (request.isHere)
    icon("document-edit-symbolic", "Edit “" + words + "”", [this, request] { host_.edit(request); });
  icon("user-trash-symbolic", "Remove “" + words + "”", [this, id = request.id] { desk_.hub().remove(id); });
}

}  // namespace vale::gtk
