// SPDX-License-Identifier: MIT
/// @file
/// Both montages and the application interface with two to four small images and any options.
#include "fuzz/Input.h"
#include "montage/Montage.h"
#include "support/MontageCall.h"
#include "support/SyntheticScene.h"
#include "support/TemporaryFolder.h"
#include "support/ThreadLimit.h"

#include <new>
#include <stdexcept>
#include <vector>

namespace {

using namespace montage;
using namespace ORV::TestSupport;
using ORV::Fuzz::Input;

/// A part of one scene, so that images have something in common; turned over, or anything at all.
cv::Mat imageFrom(Input& input) {
  static const cv::Mat kScene = makePicture({240, 160}, 3);
  constexpr int kLongestSide = 100;
  const int kind = input.between(0, 15);
  if (kind < 3) {
    return input.image(kLongestSide);
  }
  const cv::Size size(input.between(1, kLongestSide), input.between(1, kLongestSide));
  const cv::Point corner(input.between(0, kScene.cols - size.width),
                         input.between(0, kScene.rows - size.height));
  cv::Mat part = kScene(cv::Rect(corner, size)).clone();
  if (kind == 3) {
    cv::flip(part, part, input.between(-1, 1));
  } else if (kind == 4) {
    cv::resize(part, part, {input.between(1, kLongestSide), input.between(1, kLongestSide)});
  } else if (kind < 8) {
    cv::cvtColor(part, part, cv::COLOR_BGR2GRAY);
  }
  return part;
}

void facade(Pipeline pipeline, Input& input, const std::vector<cv::Mat>& images) {
  MontageOptions options;
  options.graphCutSeams = input.flag();
  options.blend = input.flag();
  options.trailingFlag = input.flag();
  for (double& megapixels : options.megapixels) {
    megapixels = input.flag() ? -1 : input.number(0, 0.02);
  }
  options.slabCount = images.size() == 4 && input.flag() ? 2 : 1;
  callMontage(pipeline, images, options);
}

template <class Choice>
Choice choice(Input& input, int count) {
  return static_cast<Choice>(input.between(0, count - 1));
}

RegisterOptions registerOptionsFrom(Input& input) {
  RegisterOptions options = registerOptions(choice<Preset>(input, 3));
  options.features.kind = choice<FeatureKind>(input, 2);
  options.features.megapixels = input.flag() ? -1 : input.number(0, 0.02);
  if (input.flag()) {
    options.features.surfThreshold = input.number(0, 1000);
    options.features.surfOctaves = input.integer(1, 9);
    options.features.surfLayers = input.integer(1, 9);
    options.features.keepImage = input.flag();
    options.matching.strictness = input.number(0, 1);
    options.adjustment.confidence = input.number(0, 2);
    options.pairing.kind = choice<Pairing>(input, 5);
    options.pairing.followers = input.integer(0, 5);
    options.pairing.closeLoop = input.flag();
    options.pairing.rows = input.integer(0, 3);
    options.pairing.columns = input.integer(0, 3);
    options.pairing.pairs = {{input.integer(-1, 4), input.integer(-1, 4)}, {0, 1}};
  }
  options.matching.refine = input.flag();
  options.adjustment.method = choice<AdjustMethod>(input, 2);
  options.adjustment.sharedFocal = input.flag();
  options.reverseOrder = input.flag();
  options.keepMatches = input.flag();
  return options;
}

PlanOptions planOptionsFrom(Input& input) {
  PlanOptions options = planOptions(choice<Preset>(input, 3));
  options.seams = choice<Seams>(input, 2);
  options.seamMegapixels = input.flag() ? -1 : input.number(0, 0.02);
  options.composeMegapixels = input.flag() ? -1 : input.number(0, 0.02);
  options.exactSeams = input.flag();
  options.seamWidening = input.integer(0, 100);
  options.masksInsideImages = input.flag();
  options.blending = choice<Blending>(input, 3);
  options.bands = input.integer(0, 5);
  options.straighten = choice<Straighten>(input, 4);
  options.faceMeanDirection = input.flag();
  options.crop = choice<Crop>(input, 3);
  options.background = choice<Background>(input, 3);
  options.normaliseBrightness = input.flag();
  options.maxMegapixels = std::min(input.number(0, 1), 1.0);
  return options;
}

void application(Input& input, const std::vector<cv::Mat>& images) {
  const MatSource source(images);
  const Registration registration = registerImages(source, registerOptionsFrom(input));
  const MontagePlan plan = planMontage(registration, source, planOptionsFrom(input));
  ComposeOptions options;
  options.memoryBytes = input.flag() ? 0 : input.take<std::uint32_t>();
  options.channels = input.integer(0, 4);
  Composer composer(plan, options);
  switch (input.between(0, 2)) {
    case 0:
      composer.compose(source);
      break;
    case 1:
      composer.compose(source,
                       cv::Rect(input.integer(0, plan.size.width % 1000),
                                input.integer(0, plan.size.height % 1000),
                                input.integer(0, 200),
                                input.integer(0, 200)));
      break;
    default:
      static const TemporaryFolder kFolder;
      TiffOptions tiff;
      tiff.compression = choice<TiffCompression>(input, 3);
      tiff.quality = input.integer(1, 100);
      tiff.pyramid = input.flag();
      tiff.bigTiff = input.flag();
      tiff.pixelsPerInch = input.number(0, 1e6);
      TiffSink sink(kFolder / "montage.tif", tiff);
      composer.compose(source, sink);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
  static const ThreadLimit kOneThread(1);
  Input input(bytes, count);
  const int call = input.between(0, 3);
  std::vector<cv::Mat> images(static_cast<std::size_t>(input.between(2, 4)));
  for (cv::Mat& image : images) {
    image = imageFrom(input);
  }
  try {
    if (call < 2) {
      facade(call == 0 ? Pipeline::kBasic : Pipeline::kDiagnostic, input, images);
      return 0;
    }
    try {
      application(input, images);
    } catch (const std::invalid_argument&) {
    } catch (const MemoryLimitError&) {
    }
  } catch (const cv::Exception&) {
  } catch (const std::bad_alloc&) {
  }
  return 0;
}
