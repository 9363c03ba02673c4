#include "platform/seeded_random.hpp"

#include <locale>
#include <sstream>

namespace mspc::platform {
namespace {

constexpr int kMantissaBits = 52;
constexpr double kTwoToMinus52 = 1.0 / static_cast<double>(std::uint64_t{1} << kMantissaBits);

}  // namespace

double SeededRandom::UnitIntervalFromBits(std::uint64_t bits) {
  // 52 bits, not 53: k + 0.5 needs one bit more than k, and with 53 bits the largest k would
  // round up to 2^53 and give exactly 1.
  const std::uint64_t k = bits >> (64 - kMantissaBits);
  return (static_cast<double>(k) + 0.5) * kTwoToMinus52;
}

std::string SeededRandom::SaveState() const {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << engine_;
  return text.str();
}

bool SeededRandom::RestoreState(const std::string& state) {
  std::istringstream text(state);
  text.imbue(std::locale::classic());
  std::mt19937_64 restored;
  text >> restored;
  if (text.fail()) return false;
  // A saved state is the engine's words and nothing after them.
  text >> std::ws;
  if (!text.eof()) return false;
  engine_ = restored;
  return true;
}

}  // namespace mspc::platform
