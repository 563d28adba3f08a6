#pragma once

#include <webkit/webkit.h>

#include <functional>
#include <string>

namespace vale::gtk {

/// The script world of Vale itself: it sees the documents of a page, with objects of its own that the page's
/// scripts can neither see nor change.
inline constexpr const char* isolatedWorld = "vale";

/// Runs the body of an asynchronous function in the isolated world of the main frame's document. `done` gets
/// what it returns, null after an error; it is dropped when `gone` is cancelled first. A page that is busy
/// answers late, one that hangs never.
void runInPage(WebKitWebView* view, const std::string& body, GCancellable* gone,
               std::function<void(JSCValue* result)> done);

}  // namespace vale::gtk
