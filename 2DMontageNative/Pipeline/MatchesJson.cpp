// SPDX-License-Identifier: MIT
#include "Pipeline/MatchesJson.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

namespace montage {
namespace {

constexpr double kRotationTolerance = 1e-3;

Json toJson(const cv::Matx33d& matrix) {
  return Json(std::vector<double>(std::begin(matrix.val), std::end(matrix.val)));
}

cv::Matx33d matrixFrom(const Json& json) {
  const auto values = json.get<std::vector<double>>();
  cv::Matx33d matrix;
  if (values.size() != 9) {
    throw std::invalid_argument("a matrix of nine numbers is expected");
  }
  std::copy(values.begin(), values.end(), std::begin(matrix.val));
  return matrix;
}

float numberOrNan(const Json& json) {
  return json.is_null() ? std::numeric_limits<float>::quiet_NaN() : json.get<float>();
}

}  // namespace

Json toJson(const PairMatches& pair) {
  Json matches = Json::array();
  for (std::size_t k = 0; k < pair.matches.size(); ++k) {
    const cv::DMatch& match = pair.matches[k];
    Json row = {match.queryIdx,
                match.trainIdx,
                match.distance,
                k < pair.inliers.size() ? static_cast<int>(pair.inliers[k]) : 0};
    if (k < pair.shifts.size()) {
      row.push_back(pair.shifts[k].x);  // NaN becomes null
      row.push_back(pair.shifts[k].y);
    }
    matches.push_back(std::move(row));
  }
  return {{"first", pair.first},
          {"second", pair.second},
          {"confidence", pair.confidence},
          {"secondFromFirst", pair.hasHomography ? toJson(pair.secondFromFirst) : Json()},
          {"hasInliers", !pair.inliers.empty()},
          {"hasShifts", !pair.shifts.empty()},
          {"matches", std::move(matches)}};
}

PairMatches pairMatchesFrom(const Json& json) {
  PairMatches pair;
  pair.first = json.at("first").get<int>();
  pair.second = json.at("second").get<int>();
  pair.confidence = json.at("confidence").get<double>();
  pair.hasHomography = !json.at("secondFromFirst").is_null();
  if (pair.hasHomography) {
    pair.secondFromFirst = matrixFrom(json.at("secondFromFirst"));
  }
  const bool hasInliers = json.at("hasInliers").get<bool>();
  const bool hasShifts = json.at("hasShifts").get<bool>();
  for (const Json& row : json.at("matches")) {
    pair.matches.emplace_back(
        row.at(0).get<int>(), row.at(1).get<int>(), 0, row.at(2).get<float>());
    if (hasInliers) {
      pair.inliers.push_back(row.at(3).get<int>() != 0 ? 1 : 0);
      pair.inlierCount += pair.inliers.back();
    }
    if (hasShifts) {
      pair.shifts.emplace_back(numberOrNan(row.at(4)), numberOrNan(row.at(5)));
    }
  }
  return pair;
}

Json toJson(const Camera& camera) {
  return {{"focal", camera.focal},
          {"aspect", camera.aspect},
          {"ppx", camera.ppx},
          {"ppy", camera.ppy},
          {"worldFromCamera", toJson(camera.worldFromCamera)}};
}

Camera cameraFrom(const Json& json) {
  Camera camera;
  camera.focal = json.at("focal").get<double>();
  camera.aspect = json.at("aspect").get<double>();
  camera.ppx = json.at("ppx").get<double>();
  camera.ppy = json.at("ppy").get<double>();
  camera.worldFromCamera = matrixFrom(json.at("worldFromCamera"));
  const cv::Matx33d& R = camera.worldFromCamera;
  const double deviation = cv::norm(R * R.t() - cv::Matx33d::eye(), cv::NORM_INF);
  if (!(camera.focal > 0.0 && std::isfinite(camera.focal) && camera.aspect > 0.0 &&
        std::isfinite(camera.aspect) && std::isfinite(camera.ppx) && std::isfinite(camera.ppy) &&
        deviation < kRotationTolerance && cv::determinant(R) > 0.0)) {
    throw std::invalid_argument("a camera that is none");
  }
  return camera;
}

}  // namespace montage
