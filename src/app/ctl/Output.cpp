#include "app/ctl/Ctl.h"
#include "common/FileDescriptor.h"

#include <cstdio>
#include <unistd.h>

namespace vale::ctl {

std::string readStandardInput() {
  auto text = readAll(STDIN_FILENO);
  if (!text) throw Error("Could not read standard input: " + systemErrorText(text.error()) + ".");
  return std::move(*text);
}

void printJson(const json::value& value) {
  const std::string line = jsonText(value) + "\n";
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fflush(stdout);
}

std::string forTerminal(std::string_view text, int descriptor) {
  if (!::isatty(descriptor)) return std::string(text);
  std::string shown;
  shown.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    // U+0080 to U+009F are the control characters' eight-bit forms.
    const bool wide = byte == 0xc2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xa0;
    if (wide || (byte < 0x20 && byte != '\n' && byte != '\t') || byte == 0x7f) {
      shown += "\xef\xbf\xbd";
      i += wide;
    } else {
      shown += text[i];
    }
  }
  return shown;
}

}  // namespace vale::ctl
