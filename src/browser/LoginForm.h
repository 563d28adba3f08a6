#pragma once

#include "browser/Secret.h"
#include "common/Json.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vale {

/// What a frame's script tells of one text field.
struct LoginFieldReport {
  std::string type;     ///< "text", "email", "password", …
  std::string purpose;  ///< the field's "autocomplete", as written
  bool visible = false;
  bool editable = false;
  std::optional<std::string> value;  ///< with submissions only
};
BOOST_DESCRIBE_STRUCT(LoginFieldReport, (), (type, purpose, visible, editable, value))

/// Where a field is in the page's view, in the page's own pixels.
struct LoginFieldPlace {
  double x = 0, y = 0, width = 0, height = 0;
};
BOOST_DESCRIBE_STRUCT(LoginFieldPlace, (), (x, y, width, height))

enum class LoginReportKind {
  ask,        ///< the user has turned to a field: what can be filled in?
  enter,      ///< the user wants the keyboard in the list of accounts
  leave,      ///< the user has turned away
  submitted,  ///< the user has sent the fields, as far as can be told
  gone,       ///< what was submitted is no longer on the page
};
template <>
inline constexpr auto rawValues<LoginReportKind> =
    std::to_array<RawValue<LoginReportKind>>({{LoginReportKind::ask, "ask"},
                                              {LoginReportKind::enter, "enter"},
                                              {LoginReportKind::leave, "leave"},
                                              {LoginReportKind::submitted, "submitted"},
                                              {LoginReportKind::gone, "gone"}});

/// A message of the script that watches the fields of a frame.
struct LoginReport {
  LoginReportKind kind = LoginReportKind::leave;
  std::string origin;                 ///< of the frame
  std::string action;                 ///< where its form is sent: an origin, or empty
  std::optional<std::int64_t> field;  ///< the one that the user is at, by its place in the list
  std::vector<LoginFieldReport> fields;
  std::optional<LoginFieldPlace> place;
};
BOOST_DESCRIBE_STRUCT(LoginReport, (), (kind, origin, action, field, fields, place))

/// Reads a message; none unless it is whole, within bounds, and of the page's own origin.
std::optional<LoginReport> readLoginReport(std::string_view text, std::string_view pageOrigin);

/// Which fields are a login's, by their places in the list.
struct LoginFields {
  std::optional<std::size_t> user;
  std::optional<std::size_t> password;     ///< the present one
  std::optional<std::size_t> newPassword;  ///< one that is being chosen

  bool operator==(const LoginFields&) const = default;
};

/// Goes by what the fields say that they are for (HTML, "Autofill detail tokens"), then by their order: a
/// name before a password; two passwords of which the second repeats or replaces the first.
LoginFields loginFields(const std::vector<LoginFieldReport>& fields);

/// Which of the fields can be filled with an account: by their places in the list, at least one.
struct LoginFill {
  std::optional<std::size_t> user;
  std::optional<std::size_t> password;
};

/// None when the field that the user is at is no login's. Only what can be seen is filled, and never a
/// password that is being chosen.
std::optional<LoginFill> fillableFields(const LoginReport& report);

/// The answer to the frame's script, which puts the texts into its fields.
Secret fillAnswer(const LoginFill& fill, const std::string& user, const Secret& password);

/// What was entered in a form, or in answer to a server's own question; see SavedLogin.
struct Login {
  std::string origin;
  std::string formOrigin = {};
  std::string user = {};
  std::string realm = {};
  Secret password = {};
  bool isNew = false;  ///< the password was chosen here, not asked for
};

/// The login that a submission holds; without a password when the form only asks for the name.
std::optional<Login> submittedLogin(const LoginReport& report);

}  // namespace vale
