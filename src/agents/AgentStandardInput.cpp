#include "agents/AgentCommandLine.h"
#include "common/FileDescriptor.h"
#include "common/Text.h"

#include <boost/json.hpp>
#include <openssl/evp.h>

#include <cerrno>

namespace vale::AgentCommandLine {
namespace {

namespace json = boost::json;

constexpr std::size_t imageLimit = 20 << 20;

std::string base64(const std::string& bytes) {
  std::string encoded(4 * ((bytes.size() + 2) / 3) + 1, '\0');
  const int length = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(encoded.data()),
                                     reinterpret_cast<const unsigned char*>(bytes.data()), int(bytes.size()));
  encoded.resize(std::size_t(length));
  return encoded;
}

/// An image block: https://docs.anthropic.com/en/api/messages (content, "image", base64 source).
json::object imageBlock(const std::filesystem::path& image) {
  const auto bytes = readFile(image, imageLimit);
  if (!bytes) {
    throw AgentRuntimeError(bytes.error().code == EFBIG
                                ? "The image “" + singleLine(image.filename().native()) +
                                      "” is larger than 20 MB. Attach a smaller one."
                                : bytes.error().message);
  }
  return {{"type", "image"},
          {"source", {{"type", "base64"}, {"media_type", "image/png"}, {"data", base64(*bytes)}}}};
}

}  // namespace

std::string standardInput(const AgentRequest& request) {
  std::string prompt = validUtf8(request.prompt);
  if (!readsStreamJson(request)) return prompt;

  json::array content;
  content.push_back({{"type", "text"}, {"text", std::move(prompt)}});
  for (const auto& image : request.images) content.push_back(imageBlock(image));
  const bool resumes = request.profile == AgentProfile::task && request.sessionID;
  json::object message{{"role", "user"}};
  message.emplace("content", std::move(content));
  json::object line{{"type", "user"}};
  line.emplace("message", std::move(message));
  line.emplace("parent_tool_use_id", nullptr);
  line.emplace("session_id", resumes ? *request.sessionID : "");
  return json::serialize(line) + '\n';
}

}  // namespace vale::AgentCommandLine
