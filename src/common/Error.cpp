#include "common/Error.h"

#include <system_error>

namespace vale {

std::string systemErrorText(int code) { return std::generic_category().message(code); }

}  // namespace vale
