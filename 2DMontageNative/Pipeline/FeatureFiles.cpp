// SPDX-License-Identifier: MIT
#include "Pipeline/MatchesJson.h"
#include "Pipeline/ValueFile.h"
#include "montage/Features.h"

namespace montage {
namespace {

constexpr int kVersion = 1;
constexpr const char* kFeatures = "features";
constexpr const char* kPair = "pair";
constexpr int kKeypointFields = 7;
constexpr double kLargestField = 1 << 30;

/// One row per keypoint: x, y, size, angle, response, octave, class.
cv::Mat matrixOf(const std::vector<cv::KeyPoint>& keypoints) {
  cv::Mat matrix(static_cast<int>(keypoints.size()), kKeypointFields, CV_32F);
  for (int row = 0; row < matrix.rows; ++row) {
    const cv::KeyPoint& keypoint = keypoints[static_cast<std::size_t>(row)];
    auto* const fields = matrix.ptr<float>(row);
    fields[0] = keypoint.pt.x;
    fields[1] = keypoint.pt.y;
    fields[2] = keypoint.size;
    fields[3] = keypoint.angle;
    fields[4] = keypoint.response;
    fields[5] = static_cast<float>(keypoint.octave);
    fields[6] = static_cast<float>(keypoint.class_id);
  }
  return matrix;
}

std::vector<cv::KeyPoint> keypointsOf(const cv::Mat& matrix) {
  if (matrix.rows > 0 && (matrix.cols != kKeypointFields || matrix.type() != CV_32F)) {
    throw std::invalid_argument("keypoints of another shape");
  }
  if (!cv::checkRange(matrix, true, nullptr, -kLargestField, kLargestField)) {
    throw std::invalid_argument("a keypoint that is none");
  }
  std::vector<cv::KeyPoint> keypoints;
  for (int row = 0; row < matrix.rows; ++row) {
    const auto* const fields = matrix.ptr<float>(row);
    keypoints.emplace_back(fields[0],
                           fields[1],
                           fields[2],
                           fields[3],
                           fields[4],
                           static_cast<int>(fields[5]),
                           static_cast<int>(fields[6]));
  }
  return keypoints;
}

void requireConsistent(const Features& features) {
  const int expected = features.kind == FeatureKind::corners ? CV_8U : CV_32F;
  const bool fits = features.descriptors.rows == static_cast<int>(features.keypoints.size()) &&
                    (features.descriptors.empty() || features.descriptors.type() == expected);
  const bool hasImage = !features.image.empty();
  if (!fits || !(features.scale > 0.0 && features.scale <= 1.0) ||
      (hasImage &&
       (features.image.size() != features.scaledSize || features.image.type() != CV_8UC1))) {
    throw std::invalid_argument("the parts do not fit together");
  }
}

}  // namespace

void save(const Features& features, const std::filesystem::path& file) {
  ValueWriter writer;
  Json json = {{"kind", features.kind == FeatureKind::corners ? "corners" : "surf"},
               {"width", features.imageSize.width},
               {"height", features.imageSize.height},
               {"scale", features.scale},
               {"scaledWidth", features.scaledSize.width},
               {"scaledHeight", features.scaledSize.height},
               {"hash", features.hash}};
  json["keypoints"] = writer.add(matrixOf(features.keypoints));
  json["descriptors"] = writer.add(features.descriptors);
  json["image"] = writer.add(features.image);
  writer.write(file, kFeatures, kVersion, json);
}

Features loadFeatures(const std::filesystem::path& file) {
  ValueReader reader(file, kFeatures, kVersion);
  return readingFields(file, [&] {
    const Json& json = reader.json();
    Features features;
    features.kind =
        json.at("kind").get<std::string>() == "surf" ? FeatureKind::surf : FeatureKind::corners;
    features.imageSize = {json.at("width").get<int>(), json.at("height").get<int>()};
    features.scale = json.at("scale").get<double>();
    features.scaledSize = {json.at("scaledWidth").get<int>(), json.at("scaledHeight").get<int>()};
    features.hash = json.at("hash").get<std::uint64_t>();
    features.keypoints = keypointsOf(reader.next(json.at("keypoints")));
    features.descriptors = reader.next(json.at("descriptors"));
    features.image = reader.next(json.at("image"));
    requireConsistent(features);
    return features;
  });
}

void save(const PairMatches& pair, const std::filesystem::path& file) {
  ValueWriter().write(file, kPair, kVersion, toJson(pair));
}

PairMatches loadPairMatches(const std::filesystem::path& file) {
  const ValueReader reader(file, kPair, kVersion);
  return readingFields(file, [&] { return pairMatchesFrom(reader.json()); });
}

}  // namespace montage
