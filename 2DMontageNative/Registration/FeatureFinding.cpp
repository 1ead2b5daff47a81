// SPDX-License-Identifier: MIT
#include "Platform/OpenCvScope.h"
#include "Platform/ParallelLoop.h"
#include "Platform/Status.h"
#include "Registration.h"
#include "Registration/ContrastStretch.h"
#include "Registration/CornerDescriptors.h"
#include "Registration/CornerDetector.h"
#include "Registration/CornerKeypoint.h"
#include "Registration/GreyImage.h"

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

std::vector<cv::KeyPoint> cornerKeypoints(const cv::Mat& grey) {
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
    if (!image.empty()) {
      throw std::bad_alloc();  // nothing else stops the detector: no image is left out for that
    }
    return {};
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
    const cv::Mat scaled = scaledImage(images[index], scale);
    const cv::Mat grey = stretchedGrey(scaled);
    cv::detail::ImageFeatures& found = features[index];
    found.keypoints = cornerKeypoints(grey);
    descriptors[index] = describeCorners(grey, found.keypoints);
    found.img_idx = i;
    found.img_size = scaled.size();
  });
  // UMats stay on the calling thread: the guard above holds for this thread only.
  for (std::size_t i = 0; i < images.size(); ++i) {
    features[i].descriptors.release();
    descriptors[i].copyTo(features[i].descriptors);
  }
  return Platform::kSuccess;
}

}  // namespace ORV::Common::Algorithms::Montage::Registration
