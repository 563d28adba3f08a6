#include "agents/AgentHub.h"
#include "app/ConsoleApplication.h"
#include "app/ctl/RunOptions.h"
#include "app/ctl/RunOutput.h"
#include "app/ctl/ThreadHub.h"
#include "common/OneShot.h"
#include "common/Text.h"

#include <fmt/format.h>

#include <cstdio>
#include <system_error>
#include <unistd.h>

namespace vale::ctl {
namespace {

namespace fs = std::filesystem;

/// What the signals, the hub and the one that waits for the turn share.
struct Following {
  OneShot<bool> over;
  std::optional<SentRequest> sent;
  std::string queue;
  std::unique_ptr<RunOutput> output;
  std::shared_ptr<AgentRun> run;
  std::optional<TurnEnd> end;
  bool told = false;
  std::vector<Subscription> subscriptions;
};

/// Copies of the user's files, for the conversation to take.
class Copies {
 public:
  explicit Copies(const std::vector<fs::path>& files) {
    if (files.empty()) return;
    std::string pattern = (fs::temp_directory_path() / "vale-images-XXXXXX").string();
    if (!::mkdtemp(pattern.data())) throw FileError("make the folder", pattern, errno);
    folder_ = pattern;
    for (const auto& file : files) {
      // Two images may have one name.
      const auto place = folder_ / std::to_string(paths.size());
      std::error_code failure;
      fs::create_directory(place, failure);
      if (!failure) fs::copy_file(fs::absolute(file), place / file.filename(), failure);
      if (failure) throw FileError("read", file, failure.value());
      paths.push_back(place / file.filename());
    }
  }
  ~Copies() {
    std::error_code ignored;
    if (!folder_.empty()) fs::remove_all(folder_, ignored);
  }
  Copies(const Copies&) = delete;
  Copies& operator=(const Copies&) = delete;

  std::vector<fs::path> paths;

 private:
  fs::path folder_;
};

/// Where the request goes. Of a conversation that is there, nothing can be chosen any more.
RequestDestination destination(const RunOptions& options, const AgentHub& hub) {
  if (options.thread != "new") {
    const auto& thread = hub.threads().begin()->second;
    if (!options.provider.empty() && fromRawValue<AgentProvider>(options.provider) != thread.provider) {
      throw UsageError(fmt::format("This conversation is with {}; it cannot go on with another agent.",
                                   productName(thread.provider)));
    }
    if (options.namesProject) throw UsageError("A conversation stays in its folder; leave --project out.");
    if (options.page && thread.kind != AgentThread::Kind::page)
      throw UsageError("This conversation is about a project; leave --page out.");
    return ToThread{thread.id};
  }
  // One name for one folder, so that its turns wait for each other; one that is missing is refused later.
  std::error_code missing;
  auto folder = fs::canonical(options.project, missing);
  if (missing) folder = fs::absolute(options.project).lexically_normal();
  if (options.page) return ToPage{.folder = options.namesProject ? folder : fs::path()};
  return ToProject{.folder = folder};
}

void announce(const RunOptions& options, const SentRequest& sent) {
  if (options.events) {
    printJson({{"event", "thread"}, {"threadID", sent.threadID.text()}, {"turnID", sent.id.text()}});
  } else if (options.thread == "new") {
    fmt::print(stderr, "Thread {}\n", sent.threadID.text());
  }
}

/// Takes the turn's run up once there is one, and says what it waits for.
void observe(const std::shared_ptr<Following>& following, AgentHub& hub, AgentRuntime& agents) {
  const auto* live = hub.live(following->queue);
  // It has ended, or waits again and will not begin here.
  if (!live) following->over.set(true);
  if (!live || live->request.id != following->sent->id) return;
  if (live->step == LiveTurn::Step::waiting && !std::exchange(following->told, true)) {
    fmt::print(stderr, "Another Vale runs a turn in this folder. Waiting for its end.\n");
  }
  if (!live->run || following->run) return;
  following->run = live->run;
  following->subscriptions.emplace_back(live->run->published().connect(
      [weak = std::weak_ptr(following), run = std::weak_ptr(live->run), &agents](const auto& events) {
        const auto following = weak.lock();
        const auto shown = run.lock();
        if (!following || !shown) return;
        following->output->show(*shown, events);
        // Nobody reads any more: the agent need not go on working.
        if (following->output->isBroken()) agents.cancel(shown->id);
      }));
}

Task<int> follow(const RunOptions& options, const CommonOptions& common, AgentRuntime& agents, AgentHub& hub,
                 std::shared_ptr<Following> following) {
  std::vector<Uuid> only;
  if (options.thread != "new") only.push_back(readThread(options.thread));
  co_await hub.load(only);
  if (!only.empty() && hub.threads().empty()) throw Error(noSuchThread);
  const auto where = destination(options, hub);
  const auto known = only.empty() ? fromRawValue<AgentProvider>(options.provider)
                                  : std::optional(hub.threads().begin()->second.provider);
  co_await agents.refresh(known);

  UserRequest request{.prompt = options.prompt};
  request.provider = known ? known : std::optional(chooseProvider(options, common, agents));
  request.model = unlessEmpty(options.model);
  request.effort = unlessEmpty(options.effort);
  request.options.access = options.write ? AgentAccess::projectWrite : AgentAccess::readOnly;
  request.options.arguments = options.arguments;
  const Copies images(options.images);
  request.options.images = images.paths;
  const std::weak_ptr<Following> weak = following;
  following->subscriptions.emplace_back(hub.turnEnded().connect([weak](const TurnEnd& end) {
    const auto following = weak.lock();
    if (!following) return;
    following->end = end;
    following->over.set(true);
  }));
  following->sent = co_await hub.send(where, std::move(request));
  following->queue = hub.threads().at(following->sent->threadID).queue;
  announce(options, *following->sent);
  following->subscriptions.emplace_back(hub.turnChanged().connect([weak, &hub, &agents](const Uuid&) {
    if (const auto following = weak.lock()) observe(following, hub, agents);
  }));
  co_await following->over.wait();

  hub.save();
  if (hub.storageError().value())
    fmt::print(stderr, "valectl: {}\n", singleLine(*hub.storageError().value()));
  if (!following->end) {
    if (hub.queues().pause(following->queue) == QueuePause::threadMissing)
      throw Error("The conversation could not be read, so that the request was not sent.");
    co_return cancelled;
  }
  if (following->run) {
    following->output->finish(*following->run);
    if (following->output->isBroken())
      throw Error("Standard output was closed before the run ended, which ended the run.");
  } else if (following->end->outcome == TurnOutcome::failed) {
    throw Error(following->end->message);
  }
  if (following->end->outcome == TurnOutcome::cancelled) co_return cancelled;
  co_return following->end->outcome == TurnOutcome::failed ? failed : done;
}

}  // namespace

int runInThread(const RunOptions& options, const CommonOptions& common) {
  ConsoleApplication application(common.support);
  const auto following = std::make_shared<Following>();
  following->output = makeRunOutput(options.events ? RunFormat::events : RunFormat::plain);
  AgentHub hub(hubPlaces(common), {}, application.agents(), application.surroundings());
  application.onInterrupt([following, &application, &hub] {
    if (!following->sent) {
      application.abandon();
      return;
    }
    hub.cancel(following->queue);
    // Its turn had not begun.
    if (!hub.live(following->queue)) following->over.set(true);
  });
  const auto code =
      application.run(follow(options, common, application.agents(), hub, following)).value_or(cancelled);
  following->subscriptions.clear();
  return code;
}

}  // namespace vale::ctl
