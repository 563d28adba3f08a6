#include "history/ByteSearch.h"

#include <bit>

namespace vale {

static_assert(std::endian::native == std::endian::little);

namespace {

namespace baseline {
#define VALE_WIDTH 16
#define VALE_TARGET
#include "history/ByteSearchKernel.inc"
#undef VALE_TARGET
#undef VALE_WIDTH
}  // namespace baseline

#ifdef __x86_64__
namespace avx2 {
#define VALE_WIDTH 32
#define VALE_TARGET __attribute__((target("avx2")))
#include "history/ByteSearchKernel.inc"
#undef VALE_TARGET
#undef VALE_WIDTH
}  // namespace avx2
#endif

}  // namespace

std::size_t findPairs(std::string_view text, std::size_t from, const BytePairs& pairs, Confirmation confirm) {
#ifdef __x86_64__
  static const bool wide = __builtin_cpu_supports("avx2");
  if (wide) return avx2::find(text, from, pairs, confirm);
#endif
  return baseline::find(text, from, pairs, confirm);
}

}  // namespace vale
