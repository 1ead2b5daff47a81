// SPDX-License-Identifier: MIT
#include "Pipeline/MatchesJson.h"
#include "Pipeline/OptionsJson.h"
#include "Pipeline/PlaneStretch.h"
#include "Pipeline/ValueFile.h"
#include "montage/MontagePlan.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>

namespace montage {
namespace {

constexpr const char* kKind = "plan";
constexpr int kVersion = 2;

/// Beyond this places on the plane are not told apart in single precision.
constexpr int kFarthestPixel = 1 << 24;

/// Of images that are not shown a plan holds nothing but that they are counted.
constexpr int kMostImages = 1 << 20;

constexpr int kLongestSide = 1 << 20;

Json toJson(const cv::Rect& rect) {
  return {rect.x, rect.y, rect.width, rect.height};
}

cv::Rect rectFrom(const Json& json) {
  const cv::Rect rect(
      json.at(0).get<int>(), json.at(1).get<int>(), json.at(2).get<int>(), json.at(3).get<int>());
  for (const int value : {rect.x, rect.y, rect.width, rect.height}) {
    if (std::abs(static_cast<double>(value)) > 2.0 * kFarthestPixel) {
      throw std::invalid_argument("a rectangle that is too far off");
    }
  }
  if (rect.width < 0 || rect.height < 0) {
    throw std::invalid_argument("a rectangle of negative size");
  }
  return rect;
}

Json toJson(const PlannedImage& image, ValueWriter& writer) {
  Json json = {{"index", image.index},
               {"name", image.name},
               {"hash", image.hash},
               {"width", image.sourceSize.width},
               {"height", image.sourceSize.height},
               {"camera", toJson(image.camera)},
               {"footprint", toJson(image.footprint)},
               {"seamFootprint", toJson(image.seamFootprint)}};
  json["seamMask"] = writer.add(image.seamMask);
  json["gains"] = writer.add(image.gains);
  return json;
}

PlannedImage imageFrom(const Json& json, bool withSeams, ValueReader& reader) {
  PlannedImage image;
  json.at("index").get_to(image.index);
  json.at("name").get_to(image.name);
  json.at("hash").get_to(image.hash);
  json.at("width").get_to(image.sourceSize.width);
  json.at("height").get_to(image.sourceSize.height);
  image.camera = cameraFrom(json.at("camera"));
  image.footprint = rectFrom(json.at("footprint"));
  image.seamFootprint = rectFrom(json.at("seamFootprint"));
  image.seamMask = reader.next(json.at("seamMask"));
  image.gains = reader.next(json.at("gains"));
  if (image.footprint.empty() || image.sourceSize.width < 1 || image.sourceSize.height < 1 ||
      (withSeams && (image.seamMask.type() != CV_8UC1 || image.seamMask.empty() ||
                     image.gains.type() != CV_32FC1 || image.gains.empty()))) {
    throw std::invalid_argument("an image without its parts");
  }
  return image;
}

/// Whether something is left of an image, and its size is one that images have.
bool isMadeOf(cv::Size size, double scale) {
  constexpr double kRoundedToNothing = 0.5;
  return std::max(size.width, size.height) <= kLongestSide &&
         std::min(size.width, size.height) * scale > kRoundedToNothing;
}

void requireModestCanvas(const MontagePlan& plan) {
  double pixels = 0.0;
  for (const PlannedImage& image : plan.images) {
    pixels += static_cast<double>(image.sourceSize.width) * image.sourceSize.height *
              plan.composeScale * plan.composeScale;
  }
  const double area = static_cast<double>(plan.canvas.width) * plan.canvas.height;
  if (isOverstretched(area, pixels)) {
    throw std::invalid_argument("a montage that is far larger than its images");
  }
}

void requireUsable(const MontagePlan& plan) {
  const cv::Rect montage(plan.origin, plan.size);
  const bool fits = !montage.empty() && (montage & plan.canvas) == montage && !plan.images.empty();
  const bool scaled = plan.seamScale > 0.0 && plan.composeScale > 0.0 && plan.composeScale <= 1.0 &&
                      plan.planeScale > 0.0 && plan.planeScale <= kFarthestPixel;
  const bool counted = plan.sourceCount >= 1 && plan.sourceCount <= kMostImages;
  if (!fits || !scaled || !counted || plan.bands < 1 || plan.bands > 5) {
    throw std::invalid_argument("the parts do not fit together");
  }
  for (const PlannedImage& image : plan.images) {
    if (!isMadeOf(image.sourceSize, plan.composeScale)) {
      throw std::invalid_argument("an image of an impossible size");
    }
    if (image.index < 0 || image.index >= plan.sourceCount ||
        (image.footprint & plan.canvas) != image.footprint) {
      throw std::invalid_argument("an image that lies outside of the montage");
    }
  }
  requireModestCanvas(plan);
}

}  // namespace

void save(const MontagePlan& plan, const std::filesystem::path& file) {
  if (plan.status != PlanStatus::ok) {
    throw std::invalid_argument("plan: a plan that is ok is expected; " + plan.reason);
  }
  ValueWriter writer;
  Json json = {{"reason", plan.reason},
               {"montage", toJson(cv::Rect(plan.origin, plan.size))},
               {"canvas", toJson(plan.canvas)},
               {"sourceCount", plan.sourceCount},
               {"channels", plan.channels},
               {"seamScale", plan.seamScale},
               {"composeScale", plan.composeScale},
               {"planeScale", plan.planeScale},
               {"bands", plan.bands},
               {"options", toJson(plan.options)},
               {"estimate",
                {{"pixels", plan.estimate.pixels},
                 {"montageBytes", plan.estimate.montageBytes},
                 {"memoryBytes", plan.estimate.memoryBytes},
                 {"leastMemoryBytes", plan.estimate.leastMemoryBytes}}},
               {"images", Json::array()},
               {"leftOut", Json::array()}};
  for (const PlannedImage& image : plan.images) {
    json["images"].push_back(toJson(image, writer));
  }
  for (const LeftOutImage& image : plan.leftOut) {
    json["leftOut"].push_back({{"index", image.index}, {"reason", image.reason}});
  }
  writer.write(file, kKind, kVersion, json);
}

MontagePlan loadPlan(const std::filesystem::path& file) {
  ValueReader reader(file, kKind, kVersion);
  return readingFields(file, [&] {
    const Json& json = reader.json();
    MontagePlan plan;
    plan.status = PlanStatus::ok;
    json.at("reason").get_to(plan.reason);
    const cv::Rect montage = rectFrom(json.at("montage"));
    plan.origin = montage.tl();
    plan.size = montage.size();
    plan.canvas = rectFrom(json.at("canvas"));
    json.at("sourceCount").get_to(plan.sourceCount);
    json.at("channels").get_to(plan.channels);
    json.at("seamScale").get_to(plan.seamScale);
    json.at("composeScale").get_to(plan.composeScale);
    json.at("planeScale").get_to(plan.planeScale);
    json.at("bands").get_to(plan.bands);
    plan.options = planOptionsFrom(json.at("options"));
    const Json& estimate = json.at("estimate");
    estimate.at("pixels").get_to(plan.estimate.pixels);
    estimate.at("montageBytes").get_to(plan.estimate.montageBytes);
    estimate.at("memoryBytes").get_to(plan.estimate.memoryBytes);
    estimate.at("leastMemoryBytes").get_to(plan.estimate.leastMemoryBytes);
    for (const Json& image : json.at("images")) {
      plan.images.push_back(imageFrom(image, plan.options.seams != Seams::none, reader));
    }
    for (const Json& image : json.at("leftOut")) {
      plan.leftOut.push_back({image.at("index").get<int>(), image.at("reason").get<std::string>()});
    }
    requireUsable(plan);
    return plan;
  });
}

}  // namespace montage
