#pragma once

#include <cstdint>
#include <random>
#include <string>

#include "host/random_source.hpp"

namespace mspc::platform {

/// A 64-bit Mersenne Twister whose state can be saved as text and restored.
class SeededRandom : public RandomSource {
 public:
  SeededRandom() = default;
  explicit SeededRandom(std::uint64_t seed) : engine_(seed) {}

  void Seed(std::uint64_t seed) override { engine_.seed(seed); }
  double Uniform() override { return UnitIntervalFromBits(engine_()); }
  std::string SaveState() const override;
  bool RestoreState(const std::string& state) override;

  /// Map 64 random bits to a double strictly inside (0, 1): the top 52 bits k give
  /// (k + 0.5) / 2^52, which is exact, so neither 0 nor 1 can come out.
  static double UnitIntervalFromBits(std::uint64_t bits);

 private:
  std::mt19937_64 engine_;
};

}  // namespace mspc::platform
