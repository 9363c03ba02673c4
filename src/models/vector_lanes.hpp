#pragma once

// Eight-lane double vectors for the dense kernels, in the compiler's portable vector notation:
// one 512-bit register where the target has them, split into narrower ones elsewhere by the
// compiler. Loads and stores go through memcpy, so no alignment is assumed. Only kernel sources
// include this header; the wide vectors never cross into other code.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#pragma GCC diagnostic push
// How a wide vector is passed between these helpers differs with the target's vector units.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace mspc::kernels {

using Vec = double __attribute__((vector_size(64)));
inline constexpr std::size_t kLanes = 8;

inline Vec Load(const double* source) {
  Vec value;
  std::memcpy(&value, source, sizeof value);
  return value;
}

inline void Store(double* target, Vec value) { std::memcpy(target, &value, sizeof value); }

/// Eight 0/1 bytes widened to eight doubles: the bytes are read as one 64-bit word, which is
/// copied to every lane and shifted by the lane's byte offset; this stays in vector registers,
/// where a conversion of a vector of bytes would go through scalar registers byte by byte.
inline Vec LoadFlags(const std::uint8_t* source) {
  using Words = std::uint64_t __attribute__((vector_size(64)));
  using SignedWords = std::int64_t __attribute__((vector_size(64)));
  constexpr bool kLittle = std::endian::native == std::endian::little;
  constexpr Words kShifts =
      kLittle ? Words{0, 8, 16, 24, 32, 40, 48, 56} : Words{56, 48, 40, 32, 24, 16, 8, 0};
  std::uint64_t word;
  std::memcpy(&word, source, sizeof word);
  const Words lanes = ((Words{} + word) >> kShifts) & std::uint64_t{0xff};
  return __builtin_convertvector(reinterpret_cast<const SignedWords&>(lanes), Vec);
}

/// The lanes added in lane order.
inline double SumLanes(Vec value) {
  double sum = value[0];
  for (std::size_t lane = 1; lane < kLanes; ++lane) sum += value[lane];
  return sum;
}

}  // namespace mspc::kernels

#pragma GCC diagnostic pop
