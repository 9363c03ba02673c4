// libFuzzer target: CSV text fitted by every model kind (see fuzz_entries.hpp).

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fuzz/fuzz_entries.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  mspc::fuzz::FitTable(std::string_view(reinterpret_cast<const char*>(data), size));
  return 0;
}
