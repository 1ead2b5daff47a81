// SPDX-License-Identifier: MIT
#include "montage/RegistrationTable.h"

#include "Console.h"
#include "montage/MontageOutcome.h"
#include "report/TextTable.h"

#include <opencv2/core.hpp>

#include <iomanip>
#include <map>

namespace orv2d {
namespace {

constexpr const char* kPixels = "px at registration resolution";
constexpr double kDegreesPerRadian = 180.0 / CV_PI;

std::size_t at(int index) {
  return static_cast<std::size_t>(index);
}

bool isUsed(const montage::RegisteredImage& image) {
  return image.verdict == montage::Verdict::used;
}

/// Whether the cameras are known.
bool hasCamera(const montage::Registration& registration, int index) {
  return registration.status == montage::RegistrationStatus::ok &&
         isUsed(registration.images[at(index)]);
}

/// Members by the number of their group.
std::map<int, std::vector<int>> groupsOf(const montage::Registration& registration) {
  std::map<int, std::vector<int>> groups;
  for (std::size_t i = 0; i < registration.images.size(); ++i) {
    if (registration.images[i].group >= 0) {
      groups[registration.images[i].group].push_back(static_cast<int>(i));
    }
  }
  return groups;
}

struct Figure {
  const char* key;
  const char* name;
  double value;
  int decimals;
  const char* unit;
};

std::vector<Figure> figuresOf(const montage::Registration& registration) {
  const montage::Figures& figures = registration.figures;
  return {{"projectionErrorRms", "projection error, rms", figures.rms, 3, kPixels},
          {"focalMean", "focal length, mean", figures.focalMean, 1, kPixels},
          {"focalRange", "focal length, range", figures.focalRange, 1, kPixels},
          {"rotationMax", "largest rotation", figures.rotationMax, 2, "rad"}};
}

}  // namespace

void printImages(const montage::Registration& registration, std::ostream& out) {
  TextTable table(
      {"image", "<verdict", "group", "corners", "focal [px]", "rms [px]", "<file", "<reason"});
  for (int i = 0; i < static_cast<int>(registration.images.size()); ++i) {
    const montage::RegisteredImage& image = registration.images[at(i)];
    const bool known = hasCamera(registration, i);
    table.add({std::to_string(i),
               nameOf(image.verdict),
               image.group < 0 ? "-" : std::to_string(image.group),
               std::to_string(image.keypoints),
               known ? fixed(registration.fullResolution(i).focal, 1) : "-",
               known ? fixed(image.rms, 2) : "-",
               image.name,
               image.reason});
  }
  table.print(out);
  out << "focal: pixels at full resolution; rms: reprojection error, " << kPixels << "\n";
}

void printPairs(const montage::Registration& registration, std::ostream& out) {
  TextTable table({"<pair", "matches", "inliers", "confidence", "rms [px]", "<verdict", "<reason"});
  for (const montage::RegisteredPair& pair : registration.pairs) {
    table.add({std::to_string(pair.first) + "-" + std::to_string(pair.second),
               std::to_string(pair.matches),
               std::to_string(pair.inliers),
               fixed(pair.confidence, 2),
               pair.rms < 0.0 ? "-" : fixed(pair.rms, 2),
               nameOf(pair.verdict),
               sentenceOf(pair.verdict)});
  }
  table.print(out);
}

void printGroups(const montage::Registration& registration, std::ostream& out) {
  TextTable table({"group", "images", "<which"});
  for (const auto& [number, members] : groupsOf(registration)) {
    std::string which;
    for (const int member : members) {
      which += (which.empty() ? "" : " ") + std::to_string(member);
    }
    table.add({std::to_string(number), std::to_string(members.size()), which});
  }
  table.print(out);
}

void printFigures(const montage::Registration& registration, std::ostream& out) {
  for (const Figure& figure : figuresOf(registration)) {
    const bool isAngle = std::string(figure.unit) == "rad";
    out << std::left << std::setw(22) << figure.name << std::right << std::setw(11)
        << fixed(isAngle ? figure.value * kDegreesPerRadian : figure.value, figure.decimals) << "  "
        << (isAngle ? "degrees" : figure.unit) << "\n";
  }
}

Json imageJson(const montage::Registration& registration, int index) {
  const montage::RegisteredImage& image = registration.images[at(index)];
  Json json = {{"index", index},
               {"file", image.name},
               {"width", image.size.width},
               {"height", image.size.height},
               {"used", isUsed(image)},
               {"verdict", nameOf(image.verdict)},
               {"reason", image.reason},
               {"advice", adviceFor(registration, image.verdict)},
               {"group", image.group < 0 ? Json() : Json(image.group)},
               {"corners", image.keypoints},
               {"rms", Json()},
               {"camera", Json()}};
  if (hasCamera(registration, index)) {
    const montage::Camera camera = registration.fullResolution(index);
    const cv::Matx33d& r = camera.worldFromCamera;
    json["rms"] = quantity(image.rms, kPixels);
    json["camera"] = {
        {"focal", camera.focal},
        {"aspect", camera.aspect},
        {"ppx", camera.ppx},
        {"ppy", camera.ppy},
        {"worldFromCamera",
         {{r(0, 0), r(0, 1), r(0, 2)}, {r(1, 0), r(1, 1), r(1, 2)}, {r(2, 0), r(2, 1), r(2, 2)}}}};
  }
  return json;
}

Json pairsJson(const montage::Registration& registration) {
  Json pairs = Json::array();
  for (const montage::RegisteredPair& pair : registration.pairs) {
    pairs.push_back({{"first", pair.first},
                     {"second", pair.second},
                     {"matches", pair.matches},
                     {"inliers", pair.inliers},
                     {"confidence", pair.confidence},
                     {"rms", pair.rms < 0.0 ? Json() : quantity(pair.rms, kPixels)},
                     {"verdict", nameOf(pair.verdict)},
                     {"reason", sentenceOf(pair.verdict)}});
  }
  return pairs;
}

Json groupsJson(const montage::Registration& registration) {
  Json groups = Json::array();
  for (const auto& [number, members] : groupsOf(registration)) {
    groups.push_back({{"group", number}, {"images", members}});
  }
  return groups;
}

Json figuresJson(const montage::Registration& registration) {
  Json json;
  for (const Figure& figure : figuresOf(registration)) {
    json[figure.key] = quantity(figure.value, figure.unit);
  }
  return json;
}

}  // namespace orv2d
