// SPDX-License-Identifier: MIT
#include "MontageReport.h"

#include "Measure.h"

namespace orv2d {
namespace {

Json settingsJson(const MontageSettings& settings) {
  return {{"output", settings.output},
          {"slabs", settings.slabs},
          {"pipeline", settings.pipeline},
          {"registrationMp", settings.registrationMp},
          {"seamMp", settings.seamMp},
          {"composeMp", settings.composeMp},
          {"seams", settings.seams},
          {"blend", !settings.noBlend},
          {"tryGpu", settings.tryGpu},
          {"grey", settings.grey},
          {"overlay", settings.overlay.empty() ? Json() : Json(settings.overlay)}};
}

/// One entry per constituent; `slabFiles` lists its image in every slab.
Json imagesJson(const MontageSettings& settings, const MontageResult& result) {
  const auto count = static_cast<std::size_t>(settings.constituentCount());
  const auto slabs = static_cast<std::size_t>(settings.slabs);
  Json images = Json::array();
  for (std::size_t i = 0; i < count; ++i) {
    Json image = {{"index", i},
                  {"file", settings.images[i]},
                  {"width", result.imageSize.width},
                  {"height", result.imageSize.height},
                  {"channels", result.channels[i]}};
    if (slabs > 1) {
      for (std::size_t slab = 0; slab < slabs; ++slab) {
        image["slabFiles"].push_back(settings.images[slab * count + i]);
      }
    }
    if (result.status == 0) {
      const bool used = result.used[i] != 0;
      image["used"] = used;
      image["x"] = used ? Json(result.positions[i].x) : Json();
      image["y"] = used ? Json(result.positions[i].y) : Json();
      image["montageX"] = used ? Json(result.inMontage[i].x) : Json();
      image["montageY"] = used ? Json(result.inMontage[i].y) : Json();
    }
    images.push_back(image);
  }
  return images;
}

Json positionJson(const MontageSettings& settings) {
  if (settings.diagnostic()) {
    return {{"kind", "centre"},
            {"unit", "px at full resolution"},
            {"origin", "top-left corner of all warped images"}};
  }
  return {{"kind", "topLeftCorner"},
          {"unit", "px of the montage"},
          {"origin", "optical axis of the common frame; values may be negative"}};
}

Json montagesJson(const MontageResult& result) {
  Json montages = Json::array();
  for (std::size_t slab = 0; slab < result.montages.size(); ++slab) {
    const cv::Mat& montage = result.montages[slab];
    montages.push_back({{"slab", slab},
                        {"file", result.montageFiles[slab].string()},
                        {"width", montage.cols},
                        {"height", montage.rows},
                        {"channels", montage.channels()}});
  }
  return montages;
}

Json qualityJson(const QualityFigures& quality) {
  const std::string pixels = "px at registration resolution";
  return {{"projectionErrorRms", quantity(quality.projectionErrorRms, pixels)},
          {"focalMean", quantity(quality.focalMean, pixels)},
          {"focalRange", quantity(quality.focalRange, pixels)},
          {"rotationMax", quantity(quality.rotationMax, "rad")}};
}

}  // namespace

Json montageReport(const MontageSettings& settings, const MontageResult& result) {
  Json report = startReport("montage");
  report["status"] = result.status;
  report["message"] = result.message;
  report["settings"] = settingsJson(settings);
  report["images"] = imagesJson(settings, result);
  if (result.status == 0) {
    report["positions"] = positionJson(settings);
    report["montages"] = montagesJson(result);
    report["quality"] = result.quality ? qualityJson(*result.quality) : Json();
  }
  report["scales"] = {{"registration", result.scales.registration},
                      {"seam", result.scales.seam},
                      {"compose", result.scales.compose}};
  report["times"] = {{"reading", quantity(result.times.reading, "s")},
                     {"montage", quantity(result.times.montage, "s")},
                     {"writing", quantity(result.times.writing, "s")}};
  report["peakMemory"] = quantity(peakMemoryMegabytes(), "MB");
  return report;
}

}  // namespace orv2d
