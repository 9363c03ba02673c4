// libFuzzer target: the entry of fuzz_entries.hpp that MSPC_FUZZ_ENTRY names (set per target by
// CMakeLists.txt).

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fuzz/fuzz_entries.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  mspc::fuzz::MSPC_FUZZ_ENTRY(std::string_view(reinterpret_cast<const char*>(data), size));
  return 0;
}
