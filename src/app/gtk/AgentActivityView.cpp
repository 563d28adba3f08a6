#include "app/gtk/AgentActivityView.h"

#include "app/gtk/MarkdownView.h"
#include "common/Text.h"

#include <algorithm>
#include <utility>

namespace vale::gtk {

namespace {

constexpr std::size_t mostOffers = 5;
constexpr std::size_t mostProjects = 20;

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

}  // namespace

AgentActivityView::AgentActivityView(AgentDesk& desk, AgentConversation& conversation, Host host)
    : desk_(desk), conversation_(conversation), host_(std::move(host)),
      other_(desk, {.chosen = [this](const ProjectOffer& one) { conversation_.chooseProject(one.folder); },
                    .failed = [this](const std::string& sentence) { host_.failed(sentence); }}),
      box_(GObjectPointer<GtkWidget>::share(gtk_box_new(GTK_ORIENTATION_VERTICAL, 0))),
      work_(gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 8)), spinner_(GTK_SPINNER(gtk_spinner_new())),
      sentence_(line({})), choice_(gtk_box_new(GTK_ORIENTATION_VERTICAL, 6)),
      queue_(gtk_box_new(GTK_ORIENTATION_VERTICAL, 4)) {
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
  lines_.clear();
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
  auto* scroller = gtk_scrolled_window_new();
  gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(scroller), GTK_POLICY_NEVER, GTK_POLICY_AUTOMATIC);
  gtk_scrolled_window_set_propagate_natural_height(GTK_SCROLLED_WINDOW(scroller), TRUE);
  gtk_scrolled_window_set_max_content_height(GTK_SCROLLED_WINDOW(scroller), 300);
  gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(scroller), list);
  gtk_box_append(GTK_BOX(choice_), scroller);
  auto* others = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 6);
  button(others, "Other _Folder…", "Choose another folder of this machine",
         [this] { other_.show(widget()); });
  button(others, "No _Project", "Make it a conversation about the page",
         [this] { conversation_.choosePage(); });
  if (activity.canRouteAgain)
    button(others, "Try _Again", "Let the agent look once more", [this] { conversation_.routeAgain(); });
  button(others, "_Edit", "Take the request back into the text below",
         [this] { host_.edit(conversation_.takeBack(), std::nullopt); });
  gtk_box_append(GTK_BOX(choice_), others);
}

void AgentActivityView::showQueue() {
  lines_.clear();
  clear(queue_);
  adding_ = &lines_;
  gtk_widget_set_visible(queue_, !shownQueue_.empty());
  if (shownQueue_.empty()) return;
  auto* head = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 6);
  auto* title = dim(shownPause_.empty() ? "Waiting" : shownPause_);
  gtk_widget_set_hexpand(GTK_WIDGET(title), TRUE);
  gtk_box_append(GTK_BOX(head), GTK_WIDGET(title));
  if (!shownPause_.empty())
    button(head, "_Resume", "Go on with what waits", [this] { conversation_.resume(); });
  gtk_box_append(GTK_BOX(queue_), head);
  auto& hub = desk_.hub();
  const auto icon = [this](GtkWidget* box, const char* name, const std::string& tip,
                           std::function<void()> work) {
    auto* one = button(box, "", tip.c_str(), std::move(work));
    gtk_button_set_icon_name(GTK_BUTTON(one), name);
    gtk_widget_add_css_class(one, "flat");
    return one;
  };
  for (std::size_t i = 0; i < shownQueue_.size(); ++i) {
    const auto& request = shownQueue_[i];
    auto* row = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
    gtk_widget_add_css_class(row, "agent-waiting");
    const auto words = singleLine(std::string(firstCharacters(request.words, 200)));
    auto* label = line(request.isHere ? words : words + " (another conversation)");
    gtk_widget_set_tooltip_text(GTK_WIDGET(label), words.c_str());
    gtk_widget_set_hexpand(GTK_WIDGET(label), TRUE);
    gtk_box_append(GTK_BOX(row), GTK_WIDGET(label));
    if (i > 0) {
      icon(row, "go-up-symbolic", "Send “" + words + "” earlier",
           [&hub, id = request.id, i] { hub.move(id, i - 1); });
    }
    if (request.isHere) {
      icon(row, "document-edit-symbolic", "Edit “" + words + "”",
           [this, request] { host_.edit(request.words, request.id); });
    }
    icon(row, "user-trash-symbolic", "Remove “" + words + "”", [&hub, id = request.id] { hub.remove(id); });
    gtk_box_append(GTK_BOX(queue_), row);
  }
}

}  // namespace vale::gtk
