// SPDX-License-Identifier: MIT
#include "Platform/OpenCvScope.h"
#include "Registration/Inliers.h"
#include "SlabMontage.h"

#include <opencv2/features2d.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

namespace ORV::Common::Algorithms::Montage {
namespace {

const cv::Scalar kRed(0, 0, 255);
const cv::Scalar kRandomColour = cv::Scalar::all(-1);

/// The image at registration resolution, where keypoint coordinates belong.
cv::Mat atWorkScale(const cv::Mat& image, float workScale) {
  const cv::Size size(static_cast<int>(static_cast<float>(image.cols) * workScale),
                      static_cast<int>(static_cast<float>(image.rows) * workScale));
  cv::Mat scaled;
  cv::resize(image, scaled, size, 0, 0, cv::INTER_LINEAR);
  return scaled;
}

/// The matches that are inliers.
std::vector<cv::DMatch> inliersOf(const cv::detail::MatchesInfo& pair) {
  std::vector<cv::DMatch> inliers;
  for (std::size_t j = 0; j < pair.matches.size(); ++j) {
    if (Registration::isInlier(pair, j)) {
      inliers.push_back(pair.matches[j]);
    }
  }
  return inliers;
}

/// Writes a drawing to the file of that kind and name; one that cannot be written is skipped in
/// silence.
void write(std::string path, const char* kind, const std::string& name, const cv::Mat& drawing) {
  path.append(kind).append(name).append(".jpg");
  static_cast<void>(cv::imwrite(path, drawing));
}

}  // namespace

int SlabMontage::plotMatches(std::vector<cv::detail::MatchesInfo> pairwiseMatches,  // NOLINT
                             std::vector<cv::detail::ImageFeatures> features,       // NOLINT
                             ORV::Common::Algorithms::Montage::Scaler scaler,       // NOLINT
                             std::vector<cv::Mat> images,                           // NOLINT
                             std::string path) {  // NOLINT: arguments by value, by interface
  // Single points get random colours: drawn from the same state, drawings repeat.
  const Platform::FixedRandomState fixedRandomState;
  for (const auto& pair : pairwiseMatches) {
    if (pair.src_img_idx < 0 || pair.dst_img_idx < 0) {
      continue;
    }
    const auto source = static_cast<std::size_t>(pair.src_img_idx);
    const auto destination = static_cast<std::size_t>(pair.dst_img_idx);
    const cv::Mat sourceImage = atWorkScale(images[source], scaler.workScale);
    const cv::Mat destinationImage = atWorkScale(images[destination], scaler.workScale);
    const std::string sourceName = std::to_string(pair.src_img_idx);
    std::string pairName = sourceName;
    pairName.append("_").append(std::to_string(pair.dst_img_idx));

    const auto drawing = [&](const std::vector<cv::DMatch>& matches) {
      cv::Mat drawn;
      cv::drawMatches(sourceImage,
                      features[source].keypoints,
                      destinationImage,
                      features[destination].keypoints,
                      matches,
                      drawn,
                      kRed,
                      kRandomColour);
      return drawn;
    };
    write(path, "cornerMatches_inliers_", pairName, drawing(inliersOf(pair)));
    cv::Mat keypoints;
    cv::drawKeypoints(sourceImage, features[source].keypoints, keypoints, kRed);
    write(path, "keypoints_", sourceName, keypoints);
    write(path, "cornerMatches_", pairName, drawing(pair.matches));
  }
  return 0;
}

}  // namespace ORV::Common::Algorithms::Montage
