#include "browser/SitePermissions.h"

#include "common/Log.h"
#include "common/RecordList.h"
#include "common/WebAddress.h"

#include <algorithm>
#include <ranges>

namespace vale {
namespace {

constexpr std::string_view key = "permissions";

}  // namespace

SitePermissions::SitePermissions(std::filesystem::path file, Surroundings surroundings)
    : clock_(surroundings.clock) {
  try {
    auto list = RecordList<SitePermission>::read(file, key);
    permissions_.set(std::move(list.records));
    unknown_ = std::move(list.unknown);
  } catch (const Error& error) {
    log::warning("Vale permissions: {}", error.message);
    storageError_.set("Could not read the permissions of sites. The original file is preserved. " +
                      error.message);
    return;
  }
  file_ = std::make_unique<DeferredFile>(
      std::move(file), SerialQueue(surroundings.workers, "Vale.permissions"), surroundings,
      [this] {
        return [list = RecordList<SitePermission>{permissions_.value(), unknown_}] { return list.text(key); };
      },
      [this](std::optional<std::string> error) {
        if (error) log::warning("Vale permissions: {}", *error);
        storageError_.set(std::move(error));
      });
}

SitePermissions::SitePermissions(std::shared_ptr<SitePermissions> parent)
    : clock_(parent->clock_), parent_(std::move(parent)) {}

std::shared_ptr<SitePermissions> SitePermissions::withParent(std::shared_ptr<SitePermissions> parent) {
  return std::shared_ptr<SitePermissions>(new SitePermissions(std::move(parent)));
}

PermissionDecision SitePermissions::decision(const std::string& address, PermissionKind kind) const {
  const auto origin = webOrigin(address);
  if (origin.empty()) return PermissionDecision::ask;
  for (const auto& permission : std::views::reverse(permissions_.value())) {
    if (permission.kind == kind && permission.origin == origin) return permission.decision;
  }
  return parent_ ? parent_->decision(address, kind) : PermissionDecision::ask;
}

void SitePermissions::decide(const std::string& address, PermissionKind kind, PermissionDecision decision) {
  const auto origin = webOrigin(address);
  if (origin.empty()) return;
  auto permissions = permissions_.value();
  std::erase_if(permissions, [&](const auto& one) { return one.kind == kind && one.origin == origin; });
  // Over a parent, "ask" is itself something to remember.
  if (decision != PermissionDecision::ask || parent_) {
    permissions.push_back({origin, kind, decision, clock_.now()});
  }
  set(std::move(permissions));
}

void SitePermissions::forget(const std::string& address) {
  const auto origin = webOrigin(address);
  auto permissions = permissions_.value();
  std::erase_if(permissions, [&](const auto& one) { return one.origin == origin; });
  set(std::move(permissions));
}

std::size_t SitePermissions::forgetSince(std::optional<Date> since) {
  auto permissions = permissions_.value();
  const auto count =
      std::erase_if(permissions, [&](const auto& one) { return !since || one.decidedAt >= *since; });
  set(std::move(permissions));
  return count;
}

void SitePermissions::set(std::vector<SitePermission> permissions) {
  if (permissions == permissions_.value()) return;
  permissions_.set(std::move(permissions));
  if (file_) file_->schedule();
}

void SitePermissions::save() {
  if (file_) file_->save();
}

}  // namespace vale
