#include "agents/AgentProviderStatus.h"
#include "agents/ChildProcess.h"
#include "common/Json.h"
#include "common/Text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <ranges>
#include <span>
#include <utility>

namespace vale {
namespace {

/// More than a name or an address takes that a person is to read.
constexpr std::size_t nameLimit = 100;

constexpr std::string_view codexKeyVariable = "CODEX_API_KEY";

using Words = std::pair<std::string_view, std::string_view>;

/// The services that Claude Code can use instead of its vendor's own, by its names for them.
constexpr auto services = std::to_array<Words>(
    {{"bedrock", "Amazon Bedrock"}, {"vertex", "Google Vertex AI"}, {"foundry", "Microsoft Foundry"}});

/// What Claude Code calls its ways to sign in, and how a sentence says them. The others need no words.
constexpr auto claudeMethods = std::to_array<Words>(
    {{"api_key", "an API key"}, {"api_key_helper", "an API key helper"}, {"oauth_token", "an access token"}});

std::string wordsFor(std::string_view name, std::span<const Words> table, std::string_view otherwise) {
  const auto found = std::ranges::find(table, name, &Words::first);
  return std::string(found == table.end() ? otherwise : found->second);
}

struct SignedIn {
  std::string_view as;
  std::string_view way;
  std::string_view plan;
};

std::string signedInMessage(AgentProvider provider, const SignedIn& words) {
  auto message = fmt::format("Signed in to {}", productName(provider));
  if (!words.as.empty()) message += fmt::format(" as {}", words.as);
  if (!words.way.empty()) message += fmt::format(" using {}", words.way);
  if (!words.plan.empty()) message += fmt::format(" ({} plan)", words.plan);
  return message + '.';
}

AgentAuthentication signedOut(AgentProvider provider) {
  AgentAuthentication result;
  result.signedIn = false;
  result.message = fmt::format("Sign in to {} with {} in Terminal, then check agents again.",
                               productName(provider), signInCommand(provider));
  return result;
}

AgentAuthentication unknown(std::string message) {
  AgentAuthentication result;
  result.message = std::move(message);
  return result;
}

AgentAuthentication unreadable(AgentProvider provider, std::string_view command) {
  return unknown(
      fmt::format("{} did not say whether you are signed in. Run {} in Terminal to see why, then check "
                  "agents again.",
                  productName(provider), command));
}

std::optional<std::string> nonEmptyMember(const json::object& object, std::string_view key) {
  const auto text = stringMember(object, key);
  if (!text || onlyWhiteSpace(*text)) return std::nullopt;
  return singleLine(firstCharacters(trimmed(*text), nameLimit));
}

/// Whether the text can be the name of an environment variable, and not what one holds.
bool isVariableName(std::string_view text) {
  return !text.empty() && std::ranges::all_of(text, [](char character) {
    return (character >= 'A' && character <= 'Z') || character == '_';
  });
}

std::string capitalized(std::string text) {
  if (!text.empty() && text.front() >= 'a' && text.front() <= 'z') text.front() -= 'a' - 'A';
  return text;
}

/// "an API key (ANTHROPIC_API_KEY)".
std::string claudeWay(const json::object& status, std::string_view method) {
  if (method == "third_party") {
    return wordsFor(stringMember(status, "apiProvider").value_or(""), services, "another provider's service");
  }
  auto way = wordsFor(method, claudeMethods, "");
  const auto source = stringMember(status, "apiKeySource");
  if (!way.empty() && source && isVariableName(*source)) way += fmt::format(" ({})", *source);
  return way;
}

/// `codex exec` prefers a key in the environment to any other sign-in, though `codex login status` never
/// tells of it.
AgentAuthentication withKeyOf(const EnvironmentVariables& environment, AgentAuthentication authentication) {
  const auto key = environment.find(std::string(codexKeyVariable));
  if (!authentication.signedIn || key == environment.end() || onlyWhiteSpace(key->second))
    return authentication;
  authentication.signedIn = true;
  authentication.method = "API key";
  authentication.message = signedInMessage(AgentProvider::codex, {.way = "an API key (CODEX_API_KEY)"});
  return authentication;
}

}  // namespace

AgentAuthentication AgentAuthentication::fromClaudeStatus(std::string_view output) {
  // Warnings may stand around the object.
  const auto begin = output.find('{');
  const auto end = output.rfind('}');
  std::optional<json::value> value;
  if (begin != std::string_view::npos && end != std::string_view::npos && begin < end) {
    value = tryParseJson(output.substr(begin, end - begin + 1));
  }
  const auto* status = value ? value->if_object() : nullptr;
  const auto loggedIn = status ? boolMember(*status, "loggedIn") : std::nullopt;
  if (!loggedIn) return unreadable(AgentProvider::claude, "claude auth status");
  if (!*loggedIn) return signedOut(AgentProvider::claude);

  AgentAuthentication result;
  result.signedIn = true;
  result.method = nonEmptyMember(*status, "authMethod");
  result.account = nonEmptyMember(*status, "email");
  if (!result.account) result.account = nonEmptyMember(*status, "orgName");
  result.plan = nonEmptyMember(*status, "subscriptionType");
  if (!result.plan) result.plan = nonEmptyMember(*status, "planTier");
  const auto way = claudeWay(*status, result.method.value_or(""));
  const auto plan = capitalized(result.plan.value_or(""));
  result.message =
      signedInMessage(AgentProvider::claude, {.as = result.account.value_or(""), .way = way, .plan = plan});
  return result;
}

AgentAuthentication AgentAuthentication::fromCodexStatus(std::string_view output, int exitStatus) {
  constexpr std::string_view loggedIn = "Logged in using ";
  AgentAuthentication result;
  for (const auto range : output | std::views::split('\n')) {
    const auto line = trimmed(std::string_view(range.begin(), range.end()));
    if (line.starts_with("Not logged in")) return signedOut(AgentProvider::codex);
    if (line.starts_with("API key configured") || line.starts_with("Logged in using an API key")) {
      result.method = "API key";
    } else if (line.starts_with(loggedIn)) {
      // Behind " - " stands the key, masked.
      const auto method = line.substr(loggedIn.size());
      result.method = singleLine(firstCharacters(trimmed(method.substr(0, method.find(" - "))), nameLimit));
    }
  }
  if (exitStatus != 0) return unreadable(AgentProvider::codex, "codex login status");
  result.signedIn = true;
  const auto way = result.method == "API key" ? "an API key" : result.method.value_or("");
  result.message = signedInMessage(AgentProvider::codex, {.way = way});
  return result;
}

Task<AgentAuthentication> AgentAuthentication::probe(AgentProvider provider, std::filesystem::path executable,
                                                     EnvironmentVariables environment, Seconds timeout,
                                                     WorkerPool& workers) {
  ChildProcess::Launch launch;
  launch.executable = std::move(executable);
  launch.arguments = {"login", "status"};
  if (provider == AgentProvider::claude) launch.arguments = {"auth", "status"};
  // Not the working folder, whose own settings would have a say.
  launch.directory = "/";
  launch.environment = environment;
  const auto capture = co_await ChildProcess::capture(std::move(launch), timeout, workers);
  if (!capture) {
    co_return unknown(fmt::format("{} could not be asked for its sign-in: {} Check agents again.",
                                  productName(provider), capture.error().message));
  }
  if (capture->timedOut) {
    co_return unknown(
        fmt::format("{} did not report its sign-in in time. Check agents again.", productName(provider)));
  }
  if (provider == AgentProvider::claude) co_return fromClaudeStatus(capture->output);
  co_return withKeyOf(
      environment, fromCodexStatus(capture->exit.diagnostic + "\n" + capture->output, capture->exit.status));
}

}  // namespace vale
