// Prng: the sample generator's own pseudo-random numbers (xoshiro256**, seeded by SplitMix64).
//
// The standard library's engines are portable but its distributions are not, so every draw the
// generator makes goes through the few functions here: the same seed gives the same mail on every
// platform and compiler. A Prng belongs to one thread.
#pragma once

#include <cmath>
#include <cstdint>
#include <span>
#include <vector>

namespace trovadex::mailstore {

class Prng {
 public:
  explicit Prng(std::uint64_t seed) {
    for (auto& word : state_) word = splitMix(seed);
  }

  // A generator of its own for one stream of draws (one message, one thread), derived from a
  // seed and a stream number, so that streams do not depend on one another's length.
  static Prng forStream(std::uint64_t seed, std::uint64_t stream) {
    std::uint64_t mixed = seed ^ (0x9E3779B97F4A7C15ULL * (stream + 1));
    return Prng(splitMix(mixed));
  }

  std::uint64_t next() {
    const std::uint64_t result = rotate(state_[1] * 5, 7) * 9;
    const std::uint64_t shifted = state_[1] << 17;
    state_[2] ^= state_[0];
    state_[3] ^= state_[1];
    state_[1] ^= state_[2];
    state_[0] ^= state_[3];
    state_[2] ^= shifted;
    state_[3] = rotate(state_[3], 45);
    return result;
  }

  // Uniform in [0, bound), without modulo bias; 0 for a bound of 0.
  std::uint64_t below(std::uint64_t bound) {
    if (bound == 0) return 0;
    const std::uint64_t limit = -bound % bound;  // 2^64 mod bound
    for (;;) {
      const std::uint64_t draw = next();
      if (draw >= limit) return draw % bound;
    }
  }

  // Uniform in [low, high].
  std::int64_t between(std::int64_t low, std::int64_t high) {
    return low + static_cast<std::int64_t>(below(static_cast<std::uint64_t>(high - low) + 1));
  }

  // Uniform in [0, 1), 53 bits.
  double unit() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }

  bool chance(double probability) { return unit() < probability; }

  // Standard normal, by the polar method (no trigonometry, so no library differences there).
  double normal() {
    for (;;) {
      const double u = 2 * unit() - 1;
      const double v = 2 * unit() - 1;
      const double s = u * u + v * v;
      if (s > 0 && s < 1) return u * std::sqrt(-2 * std::log(s) / s);
    }
  }

  // Log-normal with the given median; sigma is the spread of its logarithm.
  double logNormal(double median, double sigma) { return median * std::exp(sigma * normal()); }

  template <typename T>
  const T& pick(std::span<const T> items) {
    return items[below(items.size())];
  }

 private:
  static std::uint64_t splitMix(std::uint64_t& state) {
    std::uint64_t z = (state += 0x9E3779B97F4A7C15ULL);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
    return z ^ (z >> 31);
  }
  static std::uint64_t rotate(std::uint64_t x, int k) { return (x << k) | (x >> (64 - k)); }

  std::uint64_t state_[4];
};

// Draws an index with probability proportional to its weight (a table, searched by bisection).
class WeightedChoice {
 public:
  explicit WeightedChoice(std::span<const double> weights) {
    double total = 0;
    cumulative_.reserve(weights.size());
    for (const double weight : weights) cumulative_.push_back(total += weight);
  }
  std::size_t draw(Prng& prng) const {
    const double target = prng.unit() * cumulative_.back();
    std::size_t low = 0;
    std::size_t high = cumulative_.size() - 1;
    while (low < high) {
      const std::size_t middle = (low + high) / 2;
      if (cumulative_[middle] > target) {
        high = middle;
      } else {
        low = middle + 1;
      }
    }
    return low;
  }
  std::size_t size() const { return cumulative_.size(); }

 private:
  std::vector<double> cumulative_;
};

}  // namespace trovadex::mailstore
