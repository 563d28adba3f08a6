#include "app/gtk/PasswordsWindow.h"

#include "app/gtk/BrowserServices.h"
#include "app/gtk/Controls.h"
#include "app/gtk/GObjectPointer.h"
#include "app/gtk/PasswordEditor.h"
#include "app/gtk/WhenDone.h"
#include "browser/AddressDisplay.h"
#include "common/Text.h"
#include "common/WebAddress.h"

#include <adwaita.h>
#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace vale::gtk {

namespace {

constexpr std::size_t longestShown = 200;  // bytes

std::string shown(const std::string& text) { return clampedText(singleLine(validUtf8(text)), longestShown); }

std::string siteOf(const SavedLogin& login) { return displayedAddress(login.origin).text; }

std::string accountOf(const SavedLogin& login) {
  return login.user.empty() ? "No user name" : shown(login.user);
}

std::string escaped(const std::string& text) {
  const std::unique_ptr<char, decltype(&g_free)> markup(g_markup_escape_text(text.c_str(), -1), g_free);
  return markup.get();
}

GtkWidget* newRow(const std::string& title, const std::string& subtitle) {
  auto* row = adw_action_row_new();
  adw_preferences_row_set_use_markup(ADW_PREFERENCES_ROW(row), FALSE);
  adw_preferences_row_set_title(ADW_PREFERENCES_ROW(row), title.c_str());
  adw_action_row_set_subtitle(ADW_ACTION_ROW(row), subtitle.c_str());
  return row;
}

/// Lives as long as its window.
class Passwords : public std::enable_shared_from_this<Passwords> {
 public:
  Passwords(GtkWindow* parent, BrowserServices& services)
      : services_(services), window_(GTK_WINDOW(adw_window_new())),
        toasts_(ADW_TOAST_OVERLAY(adw_toast_overlay_new())), search_(gtk_search_entry_new()),
        searchBar_(gtk_search_bar_new()), status_(ADW_STATUS_PAGE(adw_status_page_new())),
        again_(gtk_button_new_with_mnemonic("_Try Again")), list_(GTK_LIST_BOX(gtk_list_box_new())),
        never_(ADW_PREFERENCES_GROUP(adw_preferences_group_new())) {
    gtk_window_set_title(window_, "Passwords");
    gtk_window_set_transient_for(window_, parent);
    gtk_window_set_destroy_with_parent(window_, TRUE);
    gtk_window_set_default_size(window_, 560, 620);
    auto* box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
    gtk_box_append(GTK_BOX(box), newHeader());
    gtk_box_append(GTK_BOX(box), searchBar_);
    gtk_box_append(GTK_BOX(box), newContent());
    adw_toast_overlay_set_child(toasts_, box);
    adw_window_set_content(ADW_WINDOW(window_), GTK_WIDGET(toasts_));
    addKeys();
  }

  void show() {
    g_object_set_data_full(G_OBJECT(window_), "vale-passwords", new std::shared_ptr(shared_from_this()),
                           [](gpointer data) { delete static_cast<std::shared_ptr<Passwords>*>(data); });
    gtk_window_present(window_);
    listNever();
    load(Unlocking::ask);
  }

 private:
  template <typename T, typename Done> void run(Task<T> task, Done done) {
    whenDone<T>(services_.base.surroundings.main, std::move(task),
                [weak = weak_from_this(), done = std::move(done)](std::expected<T, Error> outcome) {
                  if (const auto self = weak.lock()) done(std::move(outcome));
                });
  }

  template <typename Handler> void on(gpointer object, const char* signal, Handler handler) {
    connections_.push_back(connect(object, signal, std::move(handler)));
  }

  GtkWidget* newHeader() {
    auto* header = adw_header_bar_new();
    auto* button = gtk_toggle_button_new();
    gtk_button_set_icon_name(GTK_BUTTON(button), "system-search-symbolic");
    nameControl(button, "Search");
    g_object_bind_property(button, "active", searchBar_, "search-mode-enabled",
                           GBindingFlags(G_BINDING_BIDIRECTIONAL | G_BINDING_SYNC_CREATE));
    adw_header_bar_pack_start(ADW_HEADER_BAR(header), button);
    gtk_search_bar_set_child(GTK_SEARCH_BAR(searchBar_), search_);
    gtk_search_bar_connect_entry(GTK_SEARCH_BAR(searchBar_), GTK_EDITABLE(search_));
    gtk_search_bar_set_key_capture_widget(GTK_SEARCH_BAR(searchBar_), GTK_WIDGET(window_));
    gtk_accessible_update_property(GTK_ACCESSIBLE(search_), GTK_ACCESSIBLE_PROPERTY_LABEL,
                                   "Search the saved passwords", -1);
    on(search_, "search-changed", [this] { list(); });
    return header;
  }

  GtkWidget* newContent() {
    gtk_widget_set_halign(again_, GTK_ALIGN_CENTER);
    gtk_widget_add_css_class(again_, "pill");
    adw_status_page_set_child(status_, again_);
    on(again_, "clicked", [this] { load(Unlocking::ask); });
    gtk_widget_add_css_class(GTK_WIDGET(status_), "compact");
    gtk_widget_set_visible(GTK_WIDGET(status_), FALSE);
    gtk_widget_add_css_class(GTK_WIDGET(list_), "boxed-list");
    gtk_list_box_set_selection_mode(list_, GTK_SELECTION_NONE);
    gtk_widget_set_visible(GTK_WIDGET(list_), FALSE);
    gtk_accessible_update_property(GTK_ACCESSIBLE(list_), GTK_ACCESSIBLE_PROPERTY_LABEL, "Saved passwords",
                                   -1);
    adw_preferences_group_set_title(never_, "Never Saved");
    adw_preferences_group_set_description(never_, "Vale does not ask about passwords on these sites.");
    auto* column = gtk_box_new(GTK_ORIENTATION_VERTICAL, 24);
    for (auto set : {gtk_widget_set_margin_top, gtk_widget_set_margin_bottom, gtk_widget_set_margin_start,
                     gtk_widget_set_margin_end}) {
      set(column, 18);
    }
    for (auto* part : {GTK_WIDGET(status_), GTK_WIDGET(list_), GTK_WIDGET(never_)}) {
      gtk_box_append(GTK_BOX(column), part);
    }
    auto* clamp = adw_clamp_new();
    adw_clamp_set_child(ADW_CLAMP(clamp), column);
    auto* scroller = gtk_scrolled_window_new();
    gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(scroller), GTK_POLICY_NEVER, GTK_POLICY_AUTOMATIC);
    gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(scroller), clamp);
    gtk_widget_set_vexpand(scroller, TRUE);
    return scroller;
  }

  void addKeys() {
    auto* keys = gtk_shortcut_controller_new();
    const auto add = [keys](guint key, GdkModifierType held, GtkShortcutAction* action) {
      gtk_shortcut_controller_add_shortcut(GTK_SHORTCUT_CONTROLLER(keys),
                                           gtk_shortcut_new(gtk_keyval_trigger_new(key, held), action));
    };
    add(GDK_KEY_Escape, GdkModifierType(0), gtk_named_action_new("window.close"));
    add(GDK_KEY_f, GDK_CONTROL_MASK,
        gtk_callback_action_new(
            [](GtkWidget*, GVariant*, gpointer bar) -> gboolean {
              gtk_search_bar_set_search_mode(GTK_SEARCH_BAR(bar), TRUE);
              return TRUE;
            },
            searchBar_, nullptr));
    gtk_widget_add_controller(GTK_WIDGET(window_), keys);
  }

  // -- The list

  void load(Unlocking unlocking) {
    run(services_.passwordStore->find(std::nullopt, unlocking),
        [this](std::expected<FoundLogins, Error> found) {
          problem_.clear();
          logins_.clear();
          if (!found) {
            problem_ = found.error().message;
          } else {
            logins_ = std::move(found->logins);
            if (found->locked)
              problem_ = "The desktop’s keyring is locked. Unlock it to see the saved passwords.";
          }
          std::ranges::sort(logins_, {}, [](const SavedLogin& one) {
            return std::tuple(host(one.origin), one.origin, foldedCase(one.user), one.realm);
          });
          list();
        });
  }

  void list() {
    while (auto* row = gtk_widget_get_first_child(GTK_WIDGET(list_))) gtk_list_box_remove(list_, row);
    rowConnections_.clear();
    const auto wanted = foldedCase(trimmed(gtk_editable_get_text(GTK_EDITABLE(search_))));
    std::string site;
    std::size_t count = 0;
    for (const auto& login : logins_) {
      if (!foldedCase(siteOf(login) + " " + login.user).contains(wanted)) continue;
      add(login, siteOf(login) == site ? std::string() : siteOf(login));
      site = siteOf(login);
      ++count;
    }
    gtk_widget_set_visible(GTK_WIDGET(list_), count > 0);
    showStatus(count);
  }

  void showStatus(std::size_t count) {
    const auto status = [this](const char* icon, const char* title, const std::string& text) {
      adw_status_page_set_icon_name(status_, icon);
      adw_status_page_set_title(status_, title);
      adw_status_page_set_description(status_, escaped(text).c_str());
    };
    if (!problem_.empty()) {
      status("dialog-password-symbolic", "Passwords Are Out of Reach", problem_);
    } else if (logins_.empty()) {
      status("dialog-password-symbolic", "No Saved Passwords",
             "After you have logged in to a site, Vale offers to save the password. It will be listed here.");
    } else {
      status("system-search-symbolic", "Nothing Found", "No site and no user name has this in it.");
    }
    gtk_widget_set_visible(again_, !problem_.empty());
    gtk_widget_set_visible(GTK_WIDGET(status_), !problem_.empty() || count == 0);
  }

  /// The first row of a site has its name above it.
  void add(const SavedLogin& login, const std::string& site) {
    std::string about = login.formOrigin.empty()
                            ? fmt::format("The server’s own question: {}", shown(login.realm))
                            : "••••••••";
    auto* row = newRow(accountOf(login), about);
    if (!site.empty()) {
      auto* heading = gtk_list_box_row_new();
      auto* label = gtk_label_new(site.c_str());
      gtk_widget_add_css_class(label, "heading");
      gtk_label_set_xalign(GTK_LABEL(label), 0);
      gtk_label_set_ellipsize(GTK_LABEL(label), PANGO_ELLIPSIZE_MIDDLE);
      for (auto set : {gtk_widget_set_margin_top, gtk_widget_set_margin_bottom, gtk_widget_set_margin_start,
                       gtk_widget_set_margin_end}) {
        set(label, 12);
      }
      gtk_list_box_row_set_child(GTK_LIST_BOX_ROW(heading), label);
      gtk_list_box_row_set_activatable(GTK_LIST_BOX_ROW(heading), FALSE);
      gtk_widget_set_focusable(heading, FALSE);
      gtk_list_box_append(list_, heading);
    }
    const auto button = [&](const char* icon, const char* meaning, auto work) {
      auto* made = gtk_button_new_from_icon_name(icon);
      gtk_widget_add_css_class(made, "flat");
      gtk_widget_set_valign(made, GTK_ALIGN_CENTER);
      nameControl(made, meaning);
      adw_action_row_add_suffix(ADW_ACTION_ROW(row), made);
      rowConnections_.push_back(connect(made, "clicked", std::move(work)));
    };
    button("view-reveal-symbolic", "Show the Password",
           [this, login, row, about] { reveal(login, row, about); });
    button("edit-copy-symbolic", "Copy the Password", [this, login] { copy(login); });
    button("document-edit-symbolic", "Change…", [this, login] { edit(login); });
    button("user-trash-symbolic", "Delete", [this, login] { remove(login); });
    gtk_list_box_append(list_, row);
  }

  // -- What can be done

  /// Gives the password to `work`, or tells why there is none.
  template <typename Work> void withPassword(const SavedLogin& login, Work work) {
    run(services_.passwordStore->password(login),
        [this, work = std::move(work)](std::expected<std::optional<Secret>, Error> password) {
          if (!password) return toast(password.error().message);
          if (*password) return work(**password);
          toast("This password is no longer there.");
          load(Unlocking::no);
        });
  }

  void reveal(const SavedLogin& login, GtkWidget* row, const std::string& about) {
    const std::string_view now = adw_action_row_get_subtitle(ADW_ACTION_ROW(row));
    if (now != about) return adw_action_row_set_subtitle(ADW_ACTION_ROW(row), about.c_str());
    withPassword(login, [this, held = GObjectPointer<GtkWidget>::share(row)](const Secret& password) {
      adw_action_row_set_subtitle(ADW_ACTION_ROW(held.get()), validUtf8(password.text()).c_str());
    });
  }

  void copy(const SavedLogin& login) {
    withPassword(login, [this](const Secret& password) {
      services_.secretClipboard.copy(gtk_widget_get_clipboard(GTK_WIDGET(window_)), password);
      toast(fmt::format("Copied. The clipboard is cleared after {} seconds.",
                        static_cast<int>(SecretClipboard::stay.count())));
    });
  }

  void edit(const SavedLogin& login) {
    withPassword(login, [this, login](const Secret& password) {
      editPassword(window_, login, password,
                   [weak = weak_from_this(), login](auto user, Secret changed, auto done) {
                     if (const auto self = weak.lock())
                       self->change(login, std::move(user), std::move(changed), done);
                   });
    });
  }

  void change(const SavedLogin& login, std::string user, Secret password,
              const std::function<void(std::optional<std::string>)>& done) {
    auto changed = login;
    changed.user = std::move(user);
    const bool taken = !changed.isSameAs(login) && std::ranges::any_of(logins_, [&](const SavedLogin& one) {
      return one.origin == changed.origin && one.realm == changed.realm && one.user == changed.user;
    });
    if (taken) return done("There is a password for this user name already.");
    run(services_.passwordStore->save(changed, std::move(password)),
        [this, login, changed, done](const std::expected<bool, Error>& saved) {
          if (!saved) return done(saved.error().message);
          done(std::nullopt);
          if (changed.isSameAs(login)) return load(Unlocking::no);
          run(services_.passwordStore->remove(login), [this](const std::expected<bool, Error>& removed) {
            if (!removed) toast(removed.error().message);
            load(Unlocking::no);
          });
        });
  }

  void remove(const SavedLogin& login) {
    withPassword(login, [this, login](const Secret& password) {
      run(services_.passwordStore->remove(login),
          [this, login, password](const std::expected<bool, Error>& removed) {
            if (!removed) return toast(removed.error().message);
            load(Unlocking::no);
            auto* deleted = adw_toast_new(escaped(fmt::format("Deleted: {}", accountOf(login))).c_str());
            adw_toast_set_button_label(deleted, "_Undo");
            toastConnections_.push_back(connect(deleted, "button-clicked", [this, login, password] {
              run(services_.passwordStore->save(login, password),
                  [this](const std::expected<bool, Error>& saved) {
                    if (!saved) toast(saved.error().message);
                    load(Unlocking::no);
                  });
            }));
            adw_toast_overlay_add_toast(toasts_, deleted);
          });
    });
  }

  void toast(const std::string& text) {
    adw_toast_overlay_add_toast(toasts_, adw_toast_new(escaped(text).c_str()));
  }

  // -- The sites that are never asked about

  void listNever() {
    for (auto* row : neverRows_) adw_preferences_group_remove(never_, row);
    neverRows_.clear();
    const auto origins = services_.passwords->neverSaved();
    for (const auto& origin : origins) {
      auto* row = newRow(shown(displayedAddress(origin).text), "");
      auto* button = gtk_button_new_from_icon_name("list-remove-symbolic");
      gtk_widget_add_css_class(button, "flat");
      gtk_widget_set_valign(button, GTK_ALIGN_CENTER);
      nameControl(button, "Ask again on this site");
      adw_action_row_add_suffix(ADW_ACTION_ROW(row), button);
      toastConnections_.push_back(connect(button, "clicked", [this, origin] {
        services_.passwords->setNeverSaved(origin, false);
        services_.base.surroundings.main.post([weak = weak_from_this()] {
          if (const auto self = weak.lock()) self->listNever();
        });
      }));
      adw_preferences_group_add(never_, row);
      neverRows_.push_back(row);
    }
    gtk_widget_set_visible(GTK_WIDGET(never_), !origins.empty());
  }

  BrowserServices& services_;
  GtkWindow* window_;
  AdwToastOverlay* toasts_;
  GtkWidget* search_;
  GtkWidget* searchBar_;
  AdwStatusPage* status_;
  GtkWidget* again_;
  GtkListBox* list_;
  AdwPreferencesGroup* never_;
  std::vector<GtkWidget*> neverRows_;
  std::vector<SavedLogin> logins_;
  std::string problem_;
  Connections connections_, rowConnections_, toastConnections_;
};

}  // namespace

void showPasswords(GtkWindow* parent, BrowserServices& services) {
  std::make_shared<Passwords>(parent, services)->show();
}

}  // namespace vale::gtk
