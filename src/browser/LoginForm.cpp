#include "browser/LoginForm.h"

#include "common/Text.h"
#include "common/WebAddress.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace vale {

namespace {

constexpr std::size_t longestReport = 256 << 10;  // bytes
constexpr std::size_t mostFields = 40;
constexpr std::size_t longestUser = 1'000;
constexpr std::size_t longestPassword = 4'000;

char lowerCase(char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; }

/// True when one of the words of an "autocomplete" is this one.
bool isFor(const LoginFieldReport& field, std::string_view wanted) {
  std::string words = field.purpose;
  std::ranges::transform(words, words.begin(), lowerCase);
  for (std::size_t at = 0; at < words.size();) {
    const auto begin = words.find_first_not_of(" \t\n\f\r", at);
    if (begin == std::string::npos) return false;
    at = std::min(words.find_first_of(" \t\n\f\r", begin), words.size());
    if (std::string_view(words).substr(begin, at - begin) == wanted) return true;
  }
  return false;
}

bool isForPayment(const LoginFieldReport& field) {
  constexpr std::array purposes{"cc-name",   "cc-given-name", "cc-family-name",
                                "cc-number", "cc-exp",        "cc-csc"};
  return std::ranges::any_of(purposes, [&](const char* purpose) { return isFor(field, purpose); });
}

bool isPassword(const LoginFieldReport& field) {
  const bool labelled = isFor(field, "current-password") || isFor(field, "new-password");
  // Sites show a password in a text field while its owner wants to see it.
  if (field.type != "password" && !labelled) return false;
  return !isFor(field, "one-time-code") && !isForPayment(field);
}

bool mayBeName(const LoginFieldReport& field) {
  constexpr std::array types{"text", "email", "tel", "url", "number", ""};
  return std::ranges::find(types, field.type) != types.end() && !isPassword(field) &&
         !isFor(field, "one-time-code") && !isForPayment(field);
}

bool isName(const LoginFieldReport& field) { return mayBeName(field) && isFor(field, "username"); }

bool isOrigin(std::string_view text) { return !text.empty() && webOrigin(text) == text; }

}  // namespace

std::optional<LoginReport> readLoginReport(std::string_view text, std::string_view pageOrigin) {
  if (text.size() > longestReport || pageOrigin.empty()) return std::nullopt;
  try {
    auto report = decodeText<LoginReport>(text);
    if (report.origin != pageOrigin || report.fields.size() > mostFields) return std::nullopt;
    if (!isOrigin(report.action)) report.action.clear();
    if (report.field && (*report.field < 0 || *report.field >= std::int64_t(report.fields.size()))) {
      return std::nullopt;
    }
    if (const auto& place = report.place) {
      for (const double length : {place->x, place->y, place->width, place->height}) {
        if (!std::isfinite(length) || std::abs(length) > 1e6) return std::nullopt;
      }
    }
    return report;
  } catch (const DecodeError&) {
    return std::nullopt;
  }
}

LoginFields loginFields(const std::vector<LoginFieldReport>& fields) {
  LoginFields found;
  std::vector<std::size_t> passwords;
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (isPassword(fields[i])) passwords.push_back(i);
  }
  const auto labelled = [&](std::string_view purpose) -> std::optional<std::size_t> {
    const auto at = std::ranges::find_if(passwords, [&](auto i) { return isFor(fields[i], purpose); });
    return at == passwords.end() ? std::nullopt : std::optional(*at);
  };
  found.password = labelled("current-password");
  found.newPassword = labelled("new-password");
  if (!found.password && !found.newPassword && !passwords.empty()) {
    const auto value = [&](std::size_t i) { return fields[passwords[i]].value.value_or(""); };
    if (passwords.size() == 1) {
      found.password = passwords[0];
    } else if (passwords.size() == 2 && value(0) == value(1)) {
      found.newPassword = passwords[0];
    } else {
      found.password = passwords[0];
      found.newPassword = passwords[1];
    }
  }

  const auto name = std::ranges::find_if(fields, isName);
  if (name != fields.end()) {
    found.user = std::size_t(name - fields.begin());
  } else if (!passwords.empty()) {
    // The nearest one before the password.
    for (std::size_t i = passwords[0]; i-- > 0 && !found.user;) {
      if (mayBeName(fields[i]) && fields[i].visible) found.user = i;
    }
  }
  return found;
}

std::optional<LoginFill> fillableFields(const LoginReport& report) {
  const auto found = loginFields(report.fields);
  const auto fillable = [&](std::optional<std::size_t> field) {
    return field && report.fields[*field].visible && report.fields[*field].editable ? field : std::nullopt;
  };
  const LoginFill fill{.user = fillable(found.user), .password = fillable(found.password)};
  const auto at = report.field ? std::optional(std::size_t(*report.field)) : std::nullopt;
  if (!at || (fill.user != at && fill.password != at)) return std::nullopt;
  // A name by itself is filled only where the form says that it is one.
  if (!fill.password && !isName(report.fields[*at])) return std::nullopt;
  return fill;
}

Secret fillAnswer(const LoginFill& fill, const std::string& user, const Secret& password) {
  json::array answer;
  if (fill.user && !user.empty()) answer.push_back(json::array{*fill.user, user});
  if (fill.password) answer.push_back(json::array{*fill.password, password.text()});
  return Secret(jsonText(answer));
}

std::optional<Login> submittedLogin(const LoginReport& report) {
  const auto found = loginFields(report.fields);
  const auto value = [&](const std::optional<std::size_t>& field) {
    return field ? report.fields[*field].value.value_or("") : std::string();
  };
  const bool isNew = !value(found.newPassword).empty();
  Login login{.origin = report.origin,
              .formOrigin = report.action.empty() ? report.origin : report.action,
              .user = std::string(trimmed(value(found.user))),
              .password = Secret(isNew ? value(found.newPassword) : value(found.password)),
              .isNew = isNew};
  if (login.user.size() > longestUser || login.password.text().size() > longestPassword) return std::nullopt;
  // The service keeps texts that end at their first zero.
  if (login.user.contains('\0') || login.password.text().contains('\0')) return std::nullopt;
  if (login.user.empty() && login.password.empty()) return std::nullopt;
  return login;
}

}  // namespace vale
