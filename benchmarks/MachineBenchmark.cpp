// SPDX-License-Identifier: MIT
/// @file
/// What the machine allows one thread: the constants from which the floors of the performance table
/// are calculated.
#include "Platform/LargePages.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <type_traits>
#include <vector>

namespace {

/// Time per one of `count` things that an iteration treats.
benchmark::Counter timePerOne(double count) {
  return benchmark::Counter(
      count, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

/// A chain of additions, each of which takes a cycle.
void cycle(benchmark::State& state) {
  constexpr int kLinks = 1 << 16;
  std::uint64_t sum = 1;
  for (auto _ : state) {
    for (int i = 0; i < kLinks; ++i) {
      sum += static_cast<std::uint64_t>(i);
      benchmark::DoNotOptimize(sum);
    }
  }
  state.counters["perCycle"] = timePerOne(kLinks);
}
BENCHMARK(cycle);

/// First write to fresh memory, as to a result; argument: whether in large pages.
void firstWrite(benchmark::State& state) {
  constexpr std::size_t kBytes = std::size_t{256} << 20;
  for (auto _ : state) {
    void* const memory = std::malloc(kBytes);
    if (state.range(0) != 0) {
      ORV::Common::Platform::preferLargePages(memory, kBytes);
    }
    std::memset(memory, 1, kBytes);
    benchmark::DoNotOptimize(memory);
    std::free(memory);
  }
  state.counters["perMegabyte"] = timePerOne(static_cast<double>(kBytes) / 1e6);
}
BENCHMARK(firstWrite)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

/// Writing memory that is there, as to exported maps.
void write(benchmark::State& state) {
  constexpr std::size_t kBytes = std::size_t{256} << 20;
  std::vector<unsigned char> memory(kBytes, 1);
  for (auto _ : state) {
    std::memset(memory.data(), 2, kBytes);
    benchmark::DoNotOptimize(memory.data());
  }
  state.counters["perMegabyte"] = timePerOne(static_cast<double>(kBytes) / 1e6);
}
BENCHMARK(write)->Unit(benchmark::kMillisecond);

/// Nothing but the loads of bicubic samples: four rows of a patch, and a set of 32 bytes of weights.
template <std::size_t channels>
void patchLoads(benchmark::State& state) {
  constexpr int kSamples = 1 << 16;
  constexpr std::size_t kWeightBytes = 32;
  const std::size_t stride = 3264 * channels;
  const std::vector<unsigned char> image(stride * 2448, 1);
  const std::vector<unsigned char> table(1024 * kWeightBytes, 1);
  std::vector<std::uint32_t> pixels(kSamples);
  std::vector<std::uint32_t> weights(kSamples);
  for (std::size_t i = 0; i < kSamples; ++i) {  // tiles of 32 x 256 of a view magnified threefold
    const std::size_t x = 100 + i % 256 / 3;
    const std::size_t y = 100 + i / 256 / 3;
    pixels[i] = static_cast<std::uint32_t>(y * stride + x * channels);
    weights[i] = static_cast<std::uint32_t>(i * 7919 % 1024 * kWeightBytes);
  }
  // As many bytes of a row as the sampler takes at once.
  const auto loadRow = [](const unsigned char* row) {
    using Word = std::conditional_t<channels == 1, std::uint32_t, std::uint64_t>;
    Word words[channels == 1 ? 1 : 2];
    std::memcpy(words, row, sizeof(words));
    return words[0] ^ words[sizeof(words) / sizeof(Word) - 1];
  };
  for (auto _ : state) {
    std::uint64_t sum = 0;
    std::uint64_t weightSums[4] = {};
    for (std::size_t i = 0; i < kSamples; ++i) {
      const unsigned char* const patch = image.data() + pixels[i];
      std::uint64_t set[4];
      std::memcpy(set, table.data() + weights[i], sizeof(set));
      for (std::size_t k = 0; k < 4; ++k) {  // in vectors
        weightSums[k] ^= set[k];
      }
      sum += loadRow(patch) ^ loadRow(patch + stride) ^ loadRow(patch + 2 * stride) ^
             loadRow(patch + 3 * stride);
    }
    benchmark::DoNotOptimize(sum);
    benchmark::DoNotOptimize(weightSums);
  }
  state.counters["perSample"] = timePerOne(kSamples);
}
BENCHMARK(patchLoads<1>);
BENCHMARK(patchLoads<3>);

}  // namespace
