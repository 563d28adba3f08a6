#pragma once

#include "common/DeferredFile.h"
#include "common/Json.h"
#include "common/Published.h"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vale {

/// What a site may ask the user for.
enum class PermissionKind {
  camera,
  microphone,
  display,
  location,
  notifications,
  clipboard,
  popups,
  pointerLock,
  deviceList,
  protectedMedia,
  storageAccess,
};
template <>
inline constexpr auto rawValues<PermissionKind> =
    std::to_array<RawValue<PermissionKind>>({{PermissionKind::camera, "camera"},
                                             {PermissionKind::microphone, "microphone"},
                                             {PermissionKind::display, "display"},
                                             {PermissionKind::location, "location"},
                                             {PermissionKind::notifications, "notifications"},
                                             {PermissionKind::clipboard, "clipboard"},
                                             {PermissionKind::popups, "popups"},
                                             {PermissionKind::pointerLock, "pointerLock"},
                                             {PermissionKind::deviceList, "deviceList"},
                                             {PermissionKind::protectedMedia, "protectedMedia"},
                                             {PermissionKind::storageAccess, "storageAccess"}});

enum class PermissionDecision { ask, allow, deny };
template <>
inline constexpr auto rawValues<PermissionDecision> =
    std::to_array<RawValue<PermissionDecision>>({{PermissionDecision::ask, "ask"},
                                                 {PermissionDecision::allow, "allow"},
                                                 {PermissionDecision::deny, "deny"}});

struct SitePermission {
  std::string origin;  ///< "https://example.org", with its port when that is not the scheme's own
  PermissionKind kind = PermissionKind::camera;
  PermissionDecision decision = PermissionDecision::ask;
  Date decidedAt;

  bool operator==(const SitePermission&) const = default;
};
BOOST_DESCRIBE_STRUCT(SitePermission, (), (origin, kind, decision, decidedAt))

/// What the user has let sites do, by origin and kind. Main thread only. Kept in a file of its own, or, for a
/// store with a parent, in memory: such a store begins with what its parent knows and tells it nothing. A
/// file that could not be read is never written; entries that this version does not know are kept as they
/// stand.
class SitePermissions {
 public:
  /// Reads the file at once.
  SitePermissions(std::filesystem::path file, Surroundings surroundings);

  /// For a private window.
  static std::shared_ptr<SitePermissions> withParent(std::shared_ptr<SitePermissions> parent);

  SitePermissions(const SitePermissions&) = delete;
  SitePermissions& operator=(const SitePermissions&) = delete;

  /// What holds for the site of an address; `ask` for one that has no origin (a file, a blank page).
  PermissionDecision decision(const std::string& address, PermissionKind kind) const;

  /// Remembers a decision for the site of an address; `ask` takes an earlier one back. Nothing happens for an
  /// address without an origin.
  void decide(const std::string& address, PermissionKind kind, PermissionDecision decision);

  /// Forgets all that this store itself knows of the site of an address.
  void forget(const std::string& address);

  /// Forgets what was decided since, or all. Gives how many decisions.
  std::size_t forgetSince(std::optional<Date> since);

  /// The decisions of this store itself, the latest last.
  const Published<std::vector<SitePermission>>& permissions() const { return permissions_; }

  /// Why the file could not be read or written, a sentence for the user.
  const Published<std::optional<std::string>>& storageError() const { return storageError_; }

  /// Writes what waits to be written, for termination.
  void save();

 private:
  explicit SitePermissions(std::shared_ptr<SitePermissions> parent);
  void set(std::vector<SitePermission> permissions);

  Clock& clock_;
  std::shared_ptr<SitePermissions> parent_;
  Published<std::vector<SitePermission>> permissions_;
  json::array unknown_;
  Published<std::optional<std::string>> storageError_;
  std::unique_ptr<DeferredFile> file_;  ///< null when nothing is to be written
};

}  // namespace vale
