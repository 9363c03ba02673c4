#pragma once

#include <cstdint>
#include <string>

namespace mspc {

/// The host's seeded uniform random-number generator.
class RandomSource {
 public:
  virtual ~RandomSource() = default;
  /// Restart the stream from a seed; equal seeds give equal streams.
  virtual void Seed(std::uint64_t seed) = 0;
  /// The next uniform double in the open interval (0, 1).
  virtual double Uniform() = 0;
  /// The generator's whole state as an opaque text, for a later `RestoreState`.
  virtual std::string SaveState() const = 0;
  /// Return to a state saved before; false when the text is not a saved state.
  virtual bool RestoreState(const std::string& state) = 0;
};

}  // namespace mspc
