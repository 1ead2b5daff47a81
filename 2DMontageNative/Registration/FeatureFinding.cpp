// SPDX-License-Identifier: MIT
#include "Platform/OpenCvScope.h"
#include "Platform/ParallelLoop.h"
#include "Platform/Status.h"
#include "Registration.h"
#include "Registration/ContrastStretch.h"
#include "Registration/CornerDescriptors.h"
#include "Registration/CornerDetector.h"
#include "Registration/CornerFeatures.h"
#include "Registration/CornerKeypoint.h"
#include "Registration/GreyImage.h"

#include <optional>
#include <utility>
#include <vector>

namespace ORV::Common::Algorithms::Montage::Registration {
namespace {

constexpr double kPercentKept = 95.0;
constexpr std::size_t kCornerCapacity = 5000;
constexpr float kQualityLevel = 0.0001F;
constexpr float kMinDistancePx = 5.0F;

/// The image at registration scale, its grey version stretched to full contrast, in memory of its
/// own.
cv::Mat stretchedGrey(const cv::Mat& scaled) {
  const cv::Mat grey = greyOf(scaled);
  // A copy: the grey image may share the caller's pixels, which registration never writes.
  cv::Mat stretched = grey.clone();
  const int pixelCount = static_cast<int>(stretched.total());
  unsigned char low = 0;
  unsigned char high = 0;
  calcPercentileBounds(stretched.data, pixelCount, kPercentKept, low, high);
  stretchContrast(stretched.data, pixelCount, low, high, 0, 255);
  return stretched;
}

/// Nothing where the detector fails.
std::optional<std::vector<cv::KeyPoint>> cornerKeypoints(const cv::Mat& grey) {
  cv::Mat image;
  grey.convertTo(image, CV_32F);
  std::vector<float> points(2 * kCornerCapacity);
  std::vector<float> responses(kCornerCapacity);
  int count = static_cast<int>(kCornerCapacity);
  if (findCorners(image.ptr<float>(),
                  image.rows,
                  image.cols,
                  kQualityLevel,
                  kMinDistancePx,
                  points.data(),
                  responses.data(),
                  &count) != 0) {
    return std::nullopt;
  }
  std::vector<cv::KeyPoint> keypoints;
  keypoints.reserve(static_cast<std::size_t>(count));
  for (std::size_t k = 0; k < static_cast<std::size_t>(count); ++k) {
    keypoints.emplace_back(points[2 * k],
                           points[2 * k + 1],
                           kKeypointSize,
                           kKeypointAngle,
                           responses[k],
                           kKeypointOctave,
                           kKeypointClass);
  }
  return keypoints;
}

}  // namespace

CornerFeatures findCornerFeatures(const cv::Mat& image, float scale) {
  const cv::Mat scaled = scaledImage(image, scale);
  const cv::Mat grey = stretchedGrey(scaled);
  std::optional<std::vector<cv::KeyPoint>> keypoints = cornerKeypoints(grey);
  CornerFeatures found;
  found.imageSize = scaled.size();
  found.detectorFailed = !keypoints && !grey.empty();
  if (keypoints) {
    found.keypoints = std::move(*keypoints);
    found.descriptors = describeCorners(grey, found.keypoints);
  }
  return found;
}

FeatureFinding::FeatureFinding() = default;
FeatureFinding& FeatureFinding::operator=(const FeatureFinding&) = default;
FeatureFinding::~FeatureFinding() = default;

int FeatureFinding::operator()(std::vector<cv::Mat>& images,
                               float scale,
                               std::vector<cv::detail::ImageFeatures>& features) {
  const Platform::CpuOnly cpuOnly;
  const int imageCount = static_cast<int>(images.size());
  std::vector<cv::Mat> descriptors(images.size());
  Platform::parallelFor(0, imageCount, [&](int i) {
    const auto index = static_cast<std::size_t>(i);
    CornerFeatures found = findCornerFeatures(images[index], scale);
    features[index].keypoints = std::move(found.keypoints);
    descriptors[index] = found.descriptors;
    features[index].img_idx = i;
    features[index].img_size = found.imageSize;
  });
  // UMats stay on the calling thread: the guard above holds for this thread only.
  for (std::size_t i = 0; i < images.size(); ++i) {
    features[i].descriptors.release();
    descriptors[i].copyTo(features[i].descriptors);
  }
  return Platform::kSuccess;
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
