#include "app/ThreadListing.h"

#include "common/Text.h"

#include <algorithm>
#include <sstream>

namespace vale {

namespace {

std::string factsOf(const ThreadSummary& thread, const std::string& project) {
  std::string facts = thread.kind == AgentThreadKind::page ? "About a page" : singleLine(project);
  if (thread.status == AgentRunStatus::running)
    facts += " · working";
  else if (thread.needsAttention)
    facts += " · needs a look";
  else if (thread.status == AgentRunStatus::failed)
    facts += " · failed";
  return facts;
}

}  // namespace

std::vector<ListedThread>
listedThreads(const std::map<Uuid, ThreadSummary>& threads, std::string_view words,
              const std::function<std::string(const std::filesystem::path&)>& projectName, std::size_t most) {
  std::vector<std::string> wanted;
  std::istringstream stream(foldedCase(words));
  for (std::string word; stream >> word;) wanted.push_back(word);
  std::vector<const ThreadSummary*> latest;
  for (const auto& [id, thread] : threads) latest.push_back(&thread);
  std::ranges::sort(latest, std::greater(), &ThreadSummary::updatedAt);
  std::vector<ListedThread> listed;
  for (const auto* thread : latest) {
    if (listed.size() >= most) break;
    const bool isPage = thread->kind == AgentThreadKind::page;
    const auto project = isPage ? std::string() : projectName(thread->projectPath);
    const auto page = thread->page ? thread->page->url : std::string();
    const auto text = foldedCase(thread->title + '\n' + project + '\n' + page);
    if (!std::ranges::all_of(wanted, [&](const auto& word) { return text.contains(word); })) continue;
    listed.push_back({thread->id, singleLine(thread->title), factsOf(*thread, project)});
  }
  return listed;
}

}  // namespace vale
