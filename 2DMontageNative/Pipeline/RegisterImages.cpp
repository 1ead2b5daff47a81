// SPDX-License-Identifier: MIT
#include "Pipeline/RegisterImages.h"

#include "Pipeline/Adjust.h"
#include "Pipeline/FindFeatures.h"
#include "Pipeline/MatchImages.h"
#include "Pipeline/PairSelection.h"
#include "Pipeline/Reasons.h"
#include "Pipeline/Records.h"
#include "Pipeline/Watcher.h"
#include "Platform/ParallelLoop.h"

#include <algorithm>
#include <numeric>
#include <stdexcept>
#include <string>
#include <utility>

namespace montage {
namespace {

using ORV::Common::Platform::parallelFor;

std::size_t at(int index) {
  return static_cast<std::size_t>(index);
}

/// What describing the images of a source gives, in processing order.
struct Described {
  std::vector<Features> features;
  std::vector<std::string> failures;  ///< per image, empty where it could be read
};

void requireImage(const cv::Mat& image, const std::string& name) {
  if (image.empty() || (image.type() != CV_8UC1 && image.type() != CV_8UC3)) {
    throw std::invalid_argument("images: " + name +
                                " is not an 8-bit image of one or three channels");
  }
}

/// Describes the images `which` (numbers in processing order), each at its scale.
template <class ScaleOf>
void describe(const ImageSource& images,
              const std::vector<int>& order,
              const std::vector<int>& which,
              const FeatureOptions& options,
              const ScaleOf& scaleOf,
              bool withHashes,
              Watcher& watcher,
              Described& described) {
  parallelFor(0, static_cast<int>(which.size()), [&](int w) {
    const int i = which[at(w)];
    try {
      const cv::Mat image = images.read(order[at(i)]);
      requireImage(image, images.name(order[at(i)]));
      described.features[at(i)] = findFeatures(image, options, scaleOf(image.size()));
      described.features[at(i)].hash = withHashes ? hashOf(image) : 0;
    } catch (const FileError& error) {
      described.failures[at(i)] = error.what();
    }
    watcher.step();
  });
}

/// Describes all images at the scale of the largest one. Its size is known only when all have been
/// read, so images that turn out to be smaller are read and described again.
Described describeAll(const ImageSource& images,
                      const std::vector<int>& order,
                      const FeatureOptions& options,
                      bool withHashes,
                      const Progress& progress) {
  Described described;
  described.features.resize(order.size());
  described.failures.resize(order.size());
  Watcher watcher(progress, Stage::describe, static_cast<int>(order.size()));
  std::vector<int> all(order.size());
  std::iota(all.begin(), all.end(), 0);
  const auto ownScale = [&](cv::Size size) {
    return static_cast<float>(featureScale({size}, options));
  };
  describe(images, order, all, options, ownScale, withHashes, watcher, described);

  std::vector<cv::Size> sizes;
  sizes.reserve(order.size());
  for (const Features& features : described.features) {
    sizes.push_back(features.imageSize);
  }
  const auto scale = static_cast<float>(featureScale(sizes, options));
  std::vector<int> smaller;
  for (const int i : all) {
    const Features& features = described.features[at(i)];
    if (!features.imageSize.empty() && ownScale(features.imageSize) != scale) {
      smaller.push_back(i);
    }
  }
  const auto commonScale = [&](cv::Size /*size*/) { return scale; };
  describe(images, order, smaller, options, commonScale, withHashes, watcher, described);
  return described;
}

/// The pair in other numbers, the lower one first.
PairMatches renumbered(const PairMatches& pair, const std::vector<int>& order) {
  PairMatches result = pair;
  result.first = order[at(pair.first)];
  result.second = order[at(pair.second)];
  return result.first < result.second ? result : pairOf(reverseOf(matchRecord(result)));
}

/// The registration of images that were processed in another order, in the caller's numbering.
void renumber(const std::vector<int>& order,
              Registration& registration,
              std::vector<PairMatches>& pairs) {
  std::vector<RegisteredImage> images(registration.images.size());
  for (std::size_t i = 0; i < images.size(); ++i) {
    RegisteredImage& image = registration.images[i];
    image.alikeTo = image.alikeTo < 0 ? -1 : order[at(image.alikeTo)];
    images[at(order[i])] = std::move(image);
  }
  registration.images = std::move(images);
  for (int& image : registration.used) {
    image = order[at(image)];
  }
  for (std::size_t p = 0; p < pairs.size(); ++p) {
    pairs[p] = renumbered(pairs[p], order);
    registration.pairs[p].first = pairs[p].first;
    registration.pairs[p].second = pairs[p].second;
  }
  const auto ascending = [](const auto& a, const auto& b) {
    return a.first != b.first ? a.first < b.first : a.second < b.second;
  };
  std::sort(pairs.begin(), pairs.end(), ascending);
  std::sort(registration.pairs.begin(), registration.pairs.end(), ascending);
}

}  // namespace

Registration registerSource(const ImageSource& images,
                            const RegisterOptions& options,
                            bool withHashes,
                            const Progress& progress) {
  std::vector<int> order(at(std::max(images.count(), 0)));
  std::iota(order.begin(), order.end(), 0);
  if (options.reverseOrder) {
    std::reverse(order.begin(), order.end());
  }
  Described described = describeAll(images, order, options.features, withHashes, progress);
  std::vector<PairMatches> pairs = matchImages(described.features, order, options, progress);
  Registration registration =
      adjustFeatures(described.features, pairs, options.adjustment, progress);
  registration.options = options;
  for (std::size_t i = 0; i < order.size(); ++i) {
    RegisteredImage& image = registration.images[i];
    image.name = images.name(order[i]);
    if (!described.failures[i].empty()) {
      image.verdict = Verdict::unreadable;
      image.reason = described.failures[i];
    }
  }
  if (options.reverseOrder) {
    renumber(order, registration, pairs);
  }
  giveReasons(registration);
  if (options.keepMatches) {
    registration.matches = std::move(pairs);
  }
  return registration;
}

Registration registerImages(const ImageSource& images,
                            const RegisterOptions& options,
                            const Progress& progress) {
  check(options);
  requireFitting(options.pairing, images.count());
  return registerSource(images, options, true, progress);
}

}  // namespace montage
