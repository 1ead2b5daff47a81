// SPDX-License-Identifier: MIT
#include "Pipeline/MatchesJson.h"
#include "Pipeline/OptionsJson.h"
#include "Pipeline/ValueFile.h"
#include "montage/Registration.h"

#include <array>
#include <set>
#include <stdexcept>
#include <string>

namespace montage {
namespace {

constexpr const char* kFormat = "montage registration";
constexpr int kVersion = 1;
constexpr int kIndent = 1;
constexpr int kLargestSide = 1 << 20;

constexpr std::array kVerdicts = {Verdict::used,
                                  Verdict::unreadable,
                                  Verdict::tooFewCorners,
                                  Verdict::noPartner,
                                  Verdict::anotherGroup,
                                  Verdict::contradictory,
                                  Verdict::tooAlike};
constexpr std::array kPairVerdicts = {PairVerdict::used,
                                      PairVerdict::tooWeak,
                                      PairVerdict::outside,
                                      PairVerdict::openLoop,
                                      PairVerdict::largeResidual,
                                      PairVerdict::diverging};
constexpr std::array kStatuses = {
    RegistrationStatus::ok, RegistrationStatus::notConnected, RegistrationStatus::notFinite};

const char* nameOf(RegistrationStatus status) {
  switch (status) {
    case RegistrationStatus::ok:
      return "ok";
    case RegistrationStatus::notConnected:
      return "notConnected";
    case RegistrationStatus::notFinite:
      return "notFinite";
  }
  return "";
}

template <class Values>
auto valueNamed(const Values& values, const Json& json) {
  const auto name = json.get<std::string>();
  for (const auto value : values) {
    if (name == nameOf(value)) {
      return value;
    }
  }
  throw std::invalid_argument("'" + name + "' is not known");
}

void requireRange(const char* what, int value, int low, int high) {
  if (value < low || value >= high) {
    throw std::invalid_argument(std::string(what) + " " + std::to_string(value) +
                                " is out of range");
  }
}

Json toJson(const RegisteredImage& image, bool withCamera) {
  return {{"name", image.name},
          {"width", image.size.width},
          {"height", image.size.height},
          {"hash", image.hash},
          {"verdict", nameOf(image.verdict)},
          {"reason", image.reason},
          {"keypoints", image.keypoints},
          {"group", image.group},
          {"bestPair", image.bestPair},
          {"alikeTo", image.alikeTo},
          {"rms", image.rms},
          {"camera", withCamera ? toJson(image.camera) : Json()}};
}

RegisteredImage imageFrom(const Json& json) {
  RegisteredImage image;
  json.at("name").get_to(image.name);
  json.at("width").get_to(image.size.width);
  json.at("height").get_to(image.size.height);
  json.at("hash").get_to(image.hash);
  image.verdict = valueNamed(kVerdicts, json.at("verdict"));
  json.at("reason").get_to(image.reason);
  json.at("keypoints").get_to(image.keypoints);
  json.at("group").get_to(image.group);
  json.at("bestPair").get_to(image.bestPair);
  json.at("alikeTo").get_to(image.alikeTo);
  json.at("rms").get_to(image.rms);
  if (!json.at("camera").is_null()) {
    image.camera = cameraFrom(json.at("camera"));
  }
  requireRange("width", image.size.width, 0, kLargestSide + 1);
  requireRange("height", image.size.height, 0, kLargestSide + 1);
  return image;
}

Json toJson(const RegisteredPair& pair) {
  return {{"first", pair.first},
          {"second", pair.second},
          {"matches", pair.matches},
          {"inliers", pair.inliers},
          {"confidence", pair.confidence},
          {"verdict", nameOf(pair.verdict)},
          {"rms", pair.rms}};
}

RegisteredPair pairFrom(const Json& json, int imageCount) {
  RegisteredPair pair;
  json.at("first").get_to(pair.first);
  json.at("second").get_to(pair.second);
  json.at("matches").get_to(pair.matches);
  json.at("inliers").get_to(pair.inliers);
  json.at("confidence").get_to(pair.confidence);
  pair.verdict = valueNamed(kPairVerdicts, json.at("verdict"));
  json.at("rms").get_to(pair.rms);
  requireRange("first", pair.first, 0, imageCount);
  requireRange("second", pair.second, pair.first + 1, imageCount);
  return pair;
}

void requireUsable(const Registration& registration, const Json& json) {
  const int imageCount = static_cast<int>(registration.images.size());
  const int pairCount = static_cast<int>(registration.pairs.size());
  std::set<int> distinct;
  for (const int image : registration.used) {
    requireRange("used", image, 0, imageCount);
    const bool hasCamera =
        !json.at("images").at(static_cast<std::size_t>(image)).at("camera").is_null();
    if (!distinct.insert(image).second ||
        (registration.status == RegistrationStatus::ok && !hasCamera)) {
      throw std::invalid_argument("an image that is used twice or has no camera");
    }
  }
  for (const RegisteredImage& image : registration.images) {
    requireRange("bestPair", image.bestPair, -1, pairCount);
    requireRange("alikeTo", image.alikeTo, -1, imageCount);
  }
  if (!(registration.scale > 0.0 && registration.scale <= 1.0) ||
      (!registration.matches.empty() && registration.matches.size() != registration.pairs.size())) {
    throw std::invalid_argument("the parts do not fit together");
  }
}

}  // namespace

void save(const Registration& registration, const std::filesystem::path& file) {
  Json json = {{"format", kFormat},
               {"version", kVersion},
               {"library", registration.version},
               {"status", nameOf(registration.status)},
               {"scale", registration.scale},
               {"options", toJson(registration.options)},
               {"figures",
                {{"rms", registration.figures.rms},
                 {"focalMean", registration.figures.focalMean},
                 {"focalRange", registration.figures.focalRange},
                 {"rotationMax", registration.figures.rotationMax}}},
               {"used", registration.used},
               {"images", Json::array()},
               {"pairs", Json::array()},
               {"matches", Json::array()}};
  const bool withCameras = registration.status == RegistrationStatus::ok;
  for (const RegisteredImage& image : registration.images) {
    json["images"].push_back(toJson(image, withCameras && image.verdict == Verdict::used));
  }
  for (const RegisteredPair& pair : registration.pairs) {
    json["pairs"].push_back(toJson(pair));
  }
  for (const PairMatches& pair : registration.matches) {
    json["matches"].push_back(toJson(pair));
  }
  // Bytes of file names that are no UTF-8 are replaced.
  writeWhole(file, json.dump(kIndent, ' ', false, Json::error_handler_t::replace) + "\n");
}

Registration loadRegistration(const std::filesystem::path& file) {
  const Json json = parseJson(file, readWhole(file));
  return readingFields(file, [&] {
    if (!json.is_object() || json.value("format", "") != kFormat) {
      throw FileError(file, "it is not a registration");
    }
    if (json.at("version").get<int>() > kVersion) {
      throw FileError(file,
                      "it is of version " + std::to_string(json.at("version").get<int>()) +
                          ", newer than this library knows (" + std::to_string(kVersion) + ")");
    }
    Registration registration;
    json.at("library").get_to(registration.version);
    registration.status = valueNamed(kStatuses, json.at("status"));
    json.at("scale").get_to(registration.scale);
    registration.options = registerOptionsFrom(json.at("options"));
    const Json& figures = json.at("figures");
    figures.at("rms").get_to(registration.figures.rms);
    figures.at("focalMean").get_to(registration.figures.focalMean);
    figures.at("focalRange").get_to(registration.figures.focalRange);
    figures.at("rotationMax").get_to(registration.figures.rotationMax);
    json.at("used").get_to(registration.used);
    for (const Json& image : json.at("images")) {
      registration.images.push_back(imageFrom(image));
    }
    for (const Json& pair : json.at("pairs")) {
      registration.pairs.push_back(pairFrom(pair, static_cast<int>(registration.images.size())));
    }
    for (const Json& pair : json.at("matches")) {
      registration.matches.push_back(pairMatchesFrom(pair));
    }
    requireUsable(registration, json);
    return registration;
  });
}

}  // namespace montage
