// SPDX-License-Identifier: MIT
#include "Pipeline/Adjust.h"

#include "Pipeline/Adjustment.h"
#include "Pipeline/Reasons.h"
#include "Pipeline/Records.h"
#include "Pipeline/Version.h"
#include "Platform/OpenCvScope.h"
#include "Registration/Cameras/CameraLists.h"
#include "Registration/Cameras/PairGraph.h"
#include "Registration/Cameras/QualityFigures.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>

namespace montage {
namespace {

namespace stages = ORV::Common::Algorithms::Montage::Registration;

/// Rounds of the robust method; only for progress.
constexpr int kUsualRounds = 4;

/// Pairs between two looks at whether to go on.
constexpr std::size_t kPollEvery = 64;

std::size_t at(int index) {
  return static_cast<std::size_t>(index);
}

void requireOneScale(const std::vector<Features>& features) {
  for (const Features& each : features) {
    if (each.scaledSize.area() > 0 && each.scale != features.front().scale &&
        features.front().scaledSize.area() > 0) {
      throw std::invalid_argument("features: all images at one scale are expected");
    }
  }
}

void requireKnownImages(std::size_t imageCount, const std::vector<PairMatches>& pairs) {
  const int count = static_cast<int>(imageCount);
  for (const PairMatches& pair : pairs) {
    if (pair.first < 0 || pair.second >= count || pair.first >= pair.second) {
      throw std::invalid_argument("pairs: 0 <= first < second < " + std::to_string(count) +
                                  " is expected, (" + std::to_string(pair.first) + ", " +
                                  std::to_string(pair.second) + ") given");
    }
  }
}

void requireKnownKeypoints(const std::vector<Features>& features,
                           const std::vector<PairMatches>& pairs) {
  for (const PairMatches& pair : pairs) {
    const int ofFirst = static_cast<int>(features[at(pair.first)].keypoints.size());
    const int ofSecond = static_cast<int>(features[at(pair.second)].keypoints.size());
    if ((!pair.inliers.empty() && pair.inliers.size() != pair.matches.size()) ||
        (!pair.shifts.empty() && pair.shifts.size() != pair.matches.size())) {
      throw std::invalid_argument("pairs: one inlier flag and one shift per match are expected");
    }
    for (const cv::DMatch& match : pair.matches) {
      if (match.queryIdx < 0 || match.queryIdx >= ofFirst || match.trainIdx < 0 ||
          match.trainIdx >= ofSecond) {
        throw std::invalid_argument("pairs: a match of a keypoint that the features do not have");
      }
    }
  }
}

std::vector<RegisteredPair> tableOf(const std::vector<PairMatches>& pairs) {
  std::vector<RegisteredPair> table;
  table.reserve(pairs.size());
  for (const PairMatches& pair : pairs) {
    RegisteredPair row;
    row.first = pair.first;
    row.second = pair.second;
    row.matches = static_cast<int>(pair.matches.size());
    row.inliers = pair.inlierCount;
    row.confidence = pair.confidence;
    table.push_back(row);
  }
  return table;
}

/// What the adjustment did not decide: too weak, or of images that are not used.
void completeVerdicts(const AdjustOptions& options,
                      const Adjustment& adjustment,
                      std::vector<RegisteredPair>& pairs) {
  const auto isUsed = [&](int image) {
    return std::binary_search(adjustment.used.begin(), adjustment.used.end(), image);
  };
  for (std::size_t p = 0; p < pairs.size(); ++p) {
    RegisteredPair& pair = pairs[p];
    pair.verdict = adjustment.pairs[p];
    if (options.confidence > pair.confidence) {
      pair.verdict = PairVerdict::tooWeak;
    } else if (pair.verdict == PairVerdict::used && !(isUsed(pair.first) && isUsed(pair.second))) {
      pair.verdict = PairVerdict::outside;
    }
  }
}

/// Numbers the groups that confident pairs form, before any of them is dropped.
void numberGroups(double confidence, Registration& registration) {
  std::vector<stages::PairEdge> edges;
  for (const RegisteredPair& pair : registration.pairs) {
    if (pair.confidence >= confidence) {
      edges.push_back({pair.first, pair.second, static_cast<double>(pair.inliers)});
    }
  }
  const auto groups = stages::groupsOf(static_cast<int>(registration.images.size()), edges);
  for (std::size_t g = 0; g < groups.size(); ++g) {
    for (const int image : groups[g]) {
      registration.images[at(image)].group = static_cast<int>(g);
    }
  }
}

/// What the quality figures are computed from: both directions of every pair used, by the first
/// image, which is the order in which the lists are summed up. Only the plain method looks at
/// keypoints and matches.
struct FigureRecords {
  std::vector<cv::detail::ImageFeatures> keypoints;
  std::vector<cv::detail::CameraParams> cameras;
  std::vector<cv::detail::MatchesInfo> pairs;
};

FigureRecords recordsOf(const std::vector<Features>& features,
                        const std::vector<PairMatches>& pairs,
                        const Registration& registration,
                        bool plain) {
  FigureRecords records;
  for (std::size_t i = 0; i < features.size(); ++i) {
    if (plain) {
      records.keypoints.push_back(keypointRecord(features[i], static_cast<int>(i)));
    }
    records.cameras.push_back(cameraRecord(registration.images[i].camera));
  }
  for (std::size_t p = 0; p < pairs.size(); ++p) {
    if (registration.pairs[p].verdict == PairVerdict::used) {
      records.pairs.push_back(plain ? matchRecord(pairs[p]) : confidenceRecord(pairs[p]));
      records.pairs.push_back(reverseOf(records.pairs.back()));
    }
  }
  std::sort(records.pairs.begin(), records.pairs.end(), [](const auto& a, const auto& b) {
    return a.src_img_idx != b.src_img_idx ? a.src_img_idx < b.src_img_idx
                                          : a.dst_img_idx < b.dst_img_idx;
  });
  return records;
}

PairErrors plainErrors(const FigureRecords& records, const PairMatches& pair) {
  const double rms = stages::projectionErrorRmsOf(
      stages::listProjectionErrors(records.keypoints, {matchRecord(pair)}, -1.0F, records.cameras));
  return {rms * rms * pair.inlierCount, pair.inlierCount};
}

double rmsOf(const PairErrors& errors) {
  return errors.count > 0 ? std::sqrt(errors.squares / errors.count) : 0.0;
}

/// Errors per pair and image, and the figures of the whole.
void measure(const std::vector<Features>& features,
             const std::vector<PairMatches>& pairs,
             const AdjustOptions& options,
             Watcher& watcher,
             Registration& registration) {
  const bool plain = options.method == AdjustMethod::plain;
  const FigureRecords records = recordsOf(features, pairs, registration, plain);
  std::vector<PairErrors> perImage(features.size());
  PairErrors all;
  const auto add = [](const PairErrors& errors, PairErrors& sum) {
    sum.squares += errors.squares;
    sum.count += errors.count;
  };
  for (std::size_t p = 0; p < pairs.size(); ++p) {
    if (p % kPollEvery == 0) {
      watcher.poll();
    }
    RegisteredPair& row = registration.pairs[p];
    const RegisteredImage& first = registration.images[at(row.first)];
    const RegisteredImage& second = registration.images[at(row.second)];
    if (first.verdict != Verdict::used || second.verdict != Verdict::used || row.inliers == 0) {
      continue;
    }
    const PairErrors errors = plain ? plainErrors(records, pairs[p])
                                    : robustErrors(features, pairs[p], first.camera, second.camera);
    row.rms = rmsOf(errors);
    if (row.verdict == PairVerdict::used) {
      add(errors, perImage[at(row.first)]);
      add(errors, perImage[at(row.second)]);
      add(errors, all);
    }
  }
  for (std::size_t i = 0; i < features.size(); ++i) {
    registration.images[i].rms = rmsOf(perImage[i]);
  }
  const auto confidence = static_cast<float>(options.confidence);
  Figures& figures = registration.figures;
  figures.rms = plain ? stages::projectionErrorRmsOf(stages::listProjectionErrors(
                            records.keypoints, records.pairs, confidence, records.cameras))
                      : rmsOf(all);
  figures.rotationMax =
      stages::largestRotationOf(stages::listRotations(records.pairs, confidence, records.cameras));
  const stages::FocalStatistics focals =
      stages::focalStatisticsOf(stages::listFocals(records.pairs, confidence, records.cameras));
  figures.focalMean = focals.mean;
  figures.focalRange = focals.range;
}

}  // namespace

Registration adjustFeatures(const std::vector<Features>& features,
                            const std::vector<PairMatches>& pairs,
                            const AdjustOptions& options,
                            const Progress& progress) {
  const ORV::Common::Platform::CpuOnly cpuOnly;
  Watcher watcher(progress, Stage::adjust, kUsualRounds);
  const Adjustment adjustment = options.method == AdjustMethod::plain
                                    ? adjustPlainly(features, pairs, options)
                                    : adjustRobustly(features, pairs, options, watcher);
  Registration registration;
  registration.status = adjustment.status;
  registration.version = libraryVersion();
  registration.options.adjustment = options;
  registration.used = adjustment.used;
  registration.pairs = tableOf(pairs);
  completeVerdicts(options, adjustment, registration.pairs);
  for (std::size_t i = 0; i < features.size(); ++i) {
    RegisteredImage image;
    image.name = "image " + std::to_string(i);
    image.size = features[i].imageSize;
    image.hash = features[i].hash;
    image.keypoints = static_cast<int>(features[i].keypoints.size());
    registration.images.push_back(image);
    registration.scale = features[i].scaledSize.area() > 0 ? features[i].scale : registration.scale;
  }
  numberGroups(options.confidence, registration);
  for (std::size_t i = 0; i < adjustment.cameras.size(); ++i) {
    registration.images[at(adjustment.used[i])].camera = adjustment.cameras[i];
  }
  for (const int image : adjustment.used) {
    registration.images[at(image)].verdict = Verdict::used;
  }
  if (registration.status == RegistrationStatus::ok) {
    measure(features, pairs, options, watcher, registration);
  }
  giveVerdicts(adjustment.alike, registration);
  return registration;
}

Registration adjust(const std::vector<Features>& features,
                    const std::vector<PairMatches>& pairs,
                    const AdjustOptions& options,
                    const Progress& progress) {
  check(options);
  requireOneScale(features);
  requireKnownImages(features.size(), pairs);
  requireKnownKeypoints(features, pairs);
  Registration registration = adjustFeatures(features, pairs, options, progress);
  giveReasons(registration);
  return registration;
}

Camera Registration::fullResolution(int index) const {
  const RegisteredImage& image = images.at(at(index));
  if (image.verdict != Verdict::used) {
    throw std::invalid_argument("index: an image that is used is expected, " + image.name +
                                " is not");
  }
  return scaledCamera(image.camera, 1.0 / scale, options.adjustment.method);
}

Camera scaledCamera(const Camera& camera, double factor, AdjustMethod method) {
  Camera scaled = camera;
  scaled.focal *= factor;
  if (method == AdjustMethod::plain) {
    scaled.ppx *= factor;  // counted as if pixel centres were at halves
    scaled.ppy *= factor;
  } else {
    scaled.ppx = (camera.ppx + 0.5) * factor - 0.5;
    scaled.ppy = (camera.ppy + 0.5) * factor - 0.5;
  }
  return scaled;
}

}  // namespace montage
