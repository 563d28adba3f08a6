#include "agents/ReadableError.h"

#include "common/Json.h"
#include "common/Text.h"

namespace vale {
namespace {

std::string readable(std::string_view text, int nesting) {
  if (nesting == 0 || !trimmed(text).starts_with('{')) return std::string(text);
  const auto value = tryParseJson(text);
  const auto* object = value ? value->if_object() : nullptr;
  if (!object) return std::string(text);
  auto message = stringMember(*object, "message");
  if (const auto* error = objectMember(*object, "error")) {
    if (const auto inner = stringMember(*error, "message")) message = inner;
  }
  return message ? readable(*message, nesting - 1) : std::string(text);
}

}  // namespace

std::string readableError(std::string_view text) { return readable(text, 4); }

}  // namespace vale
