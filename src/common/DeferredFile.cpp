#include "common/DeferredFile.h"

#include "common/Error.h"
#include "common/PrivateFiles.h"

#include <cassert>
#include <future>
#include <utility>

namespace vale {
namespace {

/// Why it failed, or none.
std::optional<std::string> writeNow(const DeferredFile::Encoding& encoding,
                                    const std::filesystem::path& file) {
  try {
    PrivateFiles::writeIfChanged(encoding(), file);
    return std::nullopt;
  } catch (const std::exception& error) {
    return error.what();
  }
}

}  // namespace

DeferredFile::DeferredFile(std::filesystem::path file, SerialQueue queue, Surroundings surroundings,
                           std::function<Encoding()> content,
                           std::function<void(std::optional<std::string>)> report)
    : file_(std::move(file)), queue_(std::move(queue)), surroundings_(std::move(surroundings)),
      content_(std::move(content)), report_(std::move(report)), self_(std::make_shared<DeferredFile*>(this)) {
}

DeferredFile::~DeferredFile() = default;

void DeferredFile::schedule() {
  assert(surroundings_.main.isCurrent());
  ++revision_;
  timer_ = surroundings_.clock.schedule(writeDelay, [this] { write(); });
}

void DeferredFile::write() {
  queue_.post([encoding = content_(), file = file_, revision = revision_, main = surroundings_.main,
               weak = std::weak_ptr(self_)] {
    main.post([weak, revision, error = writeNow(encoding, file)] {
      if (const auto self = weak.lock()) (*self)->finish(revision, error);
    });
  });
}

void DeferredFile::save() {
  assert(surroundings_.main.isCurrent());
  timer_.cancel();
  if (savedRevision_ == revision_) return;
  ++revision_;
  const auto encoding = content_();
  if (surroundings_.workers.context().stopped()) {
    finish(revision_, writeNow(encoding, file_));
    return;
  }
  std::promise<std::optional<std::string>> promise;
  auto outcome = promise.get_future();
  queue_.post([&] { promise.set_value(writeNow(encoding, file_)); });
  finish(revision_, outcome.get());
}

void DeferredFile::finish(std::uint64_t revision, std::optional<std::string> error) {
  if (revision != revision_) return;
  if (!error) savedRevision_ = revision;
  report_(std::move(error));
}

}  // namespace vale
