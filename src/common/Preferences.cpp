#include "common/Preferences.h"

#include "common/FileDescriptor.h"
#include "common/PrivateFiles.h"

#include <cassert>
#include <cerrno>
#include <future>
#include <utility>

namespace vale {
namespace {

constexpr std::size_t largestFile = 16 << 20;

}  // namespace

/// What became of one write.
struct Preferences::Outcome {
  std::uint64_t revision;
  std::optional<std::string> error;

  static Outcome ofWriting(const json::object& values, const std::filesystem::path& file,
                           std::uint64_t revision) {
    try {
      PrivateFiles::writeIfChanged(jsonText(values) + "\n", file);
      return {revision, std::nullopt};
    } catch (const Error& error) {
      return {revision, error.message};
    }
  }
};

std::expected<json::object, Error> Preferences::read(const std::filesystem::path& file) {
  const auto preserved = [](std::string_view reason) {
    return std::unexpected(
        Error("Could not read the settings. The original file is preserved. " + std::string(reason)));
  };
  const auto text = readFile(file, largestFile);
  if (!text && text.error().code == ENOENT) return json::object();
  if (!text) return preserved(text.error().message);
  try {
    auto value = parseJson(*text);
    if (auto* object = value.if_object()) return std::move(*object);
    return preserved("The text is not a JSON object.");
  } catch (const DecodeError& error) {
    return preserved(error.message);
  }
}

Preferences::Preferences(std::filesystem::path file, MainQueue main, WorkerPool& workers, Clock& clock)
    : file_(std::move(file)), main_(std::move(main)), workers_(workers), queue_(workers, "preferences"),
      clock_(clock), self_(std::make_shared<Preferences*>(this)) {
  auto values = read(file_);
  if (values) {
    values_ = std::move(*values);
  } else {
    readError_ = std::move(values.error().message);
  }
}

Preferences::~Preferences() = default;

std::optional<bool> Preferences::boolean(std::string_view key) const { return boolMember(values_, key); }

std::optional<double> Preferences::number(std::string_view key) const { return numberMember(values_, key); }

std::optional<std::string> Preferences::string(std::string_view key) const {
  const auto text = stringMember(values_, key);
  return text ? std::optional<std::string>(*text) : std::nullopt;
}

std::optional<std::vector<std::string>> Preferences::strings(std::string_view key) const {
  const auto* array = arrayMember(values_, key);
  if (!array) return std::nullopt;
  std::vector<std::string> texts;
  for (const auto& item : *array) {
    const auto* text = item.if_string();
    if (!text) return std::nullopt;
    texts.emplace_back(*text);
  }
  return texts;
}

const json::value* Preferences::value(std::string_view key) const { return values_.if_contains(key); }

void Preferences::set(std::string_view key, json::value value) {
  if (const auto* present = values_.if_contains(key); present && *present == value) return;
  values_[key] = std::move(value);
  valueChanged(key);
}

void Preferences::remove(std::string_view key) {
  const std::string name(key);  // it may be a view into what goes away
  // The plain `erase` would move the last key into the gap.
  if (values_.stable_erase(name) > 0) valueChanged(name);
}

void Preferences::valueChanged(std::string_view key) {
  assert(main_.isCurrent());
  ++revision_;
  if (!readError_) timer_ = clock_.schedule(writeDelay, [this] { write(); });
  changed_.emit(std::string(key));
}

void Preferences::write() {
  queue_.post(
      [values = values_, file = file_, revision = revision_, main = main_, weak = std::weak_ptr(self_)] {
        main.post([weak, outcome = Outcome::ofWriting(values, file, revision)] {
          if (const auto self = weak.lock()) (*self)->finishWrite(outcome);
        });
      });
}

void Preferences::save() {
  assert(main_.isCurrent());
  timer_.cancel();
  if (readError_ || savedRevision_ == revision_) return;
  if (workers_.context().stopped()) {
    finishWrite(Outcome::ofWriting(values_, file_, revision_));
    return;
  }
  // On the queue, so that it comes after the writes that are under way.
  std::promise<Outcome> promise;
  auto outcome = promise.get_future();
  queue_.post([&] { promise.set_value(Outcome::ofWriting(values_, file_, revision_)); });
  finishWrite(outcome.get());
}

void Preferences::finishWrite(const Outcome& outcome) {
  if (!outcome.error) savedRevision_ = std::max(savedRevision_, outcome.revision);
  // An older write's word says nothing about the newest.
  if (outcome.revision < finishedRevision_) return;
  finishedRevision_ = outcome.revision;
  if (writeError_ == outcome.error) return;
  writeError_ = outcome.error;
  writeErrorChanged_.emit();
}

}  // namespace vale
