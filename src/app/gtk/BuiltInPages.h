#pragma once

#include "app/gtk/GObjectPointer.h"
#include "browser/BrowserModel.h"

#include <webkit/webkit.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace vale::gtk {

/// One page of the browser's own. Its texts are constants of the program.
struct BuiltInPage {
  std::string_view address;
  std::string_view html;  ///< with the places "{nonce}" and "{style}"
  std::string_view style;
  std::string_view script;  ///< the body of a function, run in Vale's script world once the page is loaded
  std::string name;         ///< of the script's message handler
  /// Answers what the script asks; both are JSON. Never throws.
  std::function<Task<std::string>(std::string question)> answer;
};

/// Serves the built-in pages and answers them. No other page can show or reach them: their scheme is
/// isolated, the pages have no scripts and may load nothing, and what works in them is run in Vale's own
/// script world, whose messages count only while the page that they belong to is shown. Main thread only.
class BuiltInPages {
 public:
  BuiltInPages(WebKitWebContext* context, MainQueue main);
  ~BuiltInPages();
  BuiltInPages(const BuiltInPages&) = delete;
  BuiltInPages& operator=(const BuiltInPages&) = delete;

  /// Before any page shows it. Answers under way may outlive this object: they hold what they need.
  void add(BuiltInPage page);

  /// Lets the pages of a window show them.
  void attach(BrowserModel& model);

  /// Calls the function `refresh` of the page's script, wherever the page is shown.
  void refresh(std::string_view address);

 private:
  struct Guest;
  struct Served;

  void follow(BrowserTab& tab);
  void welcome(Guest& guest, const BuiltInPage& page);
  bool receive(const Guest& guest, const BuiltInPage& page, JSCValue* message,
               WebKitScriptMessageReply* reply);

  MainQueue main_;
  std::shared_ptr<Served> served_;
  std::unordered_map<const Page*, std::unique_ptr<Guest>> guests_;
  std::vector<Subscription> subscriptions_;
};

}  // namespace vale::gtk
