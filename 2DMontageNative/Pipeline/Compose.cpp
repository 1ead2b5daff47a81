// SPDX-License-Identifier: MIT
#include "montage/Compose.h"

#include "Composition/BrightnessNormalisation.h"
#include "Composition/CompositionImage.h"
#include "Composition/PlaneComposer.h"
#include "Pipeline/PlanLayout.h"
#include "Pipeline/Watcher.h"
#include "Platform/OpenCvScope.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace montage {
namespace {

using composition::PlaneComposer;
using composition::WarpedImages;

composition::BlendOptions blendingOf(const MontagePlan& plan) {
  composition::BlendOptions blending;
  switch (plan.options.blending) {
    case Blending::none:
      blending.kind = composition::BlendKind::kNone;
      break;
    case Blending::feather:
      blending.kind = composition::BlendKind::kFeather;
      break;
    case Blending::multiBand:
      blending.kind = composition::BlendKind::kMultiBand;
      blending.bands = plan.bands;
      // Within seams weights add up to about one, so sums in eighths fit.
      blending.fine = plan.options.masksInsideImages && plan.options.seams != Seams::none;
      break;
  }
  return blending;
}

std::string sizeText(cv::Size size) {
  return std::to_string(size.width) + " x " + std::to_string(size.height);
}

void requireComposable(const MontagePlan& plan) {
  if (plan.status != PlanStatus::ok) {
    throw std::invalid_argument("plan: a plan that is ok is expected; " + plan.reason);
  }
}

}  // namespace

/// What a composer keeps for slabs with the same number of channels.
class Composer::Engine {
 public:
  explicit Engine(MontagePlan plan) : plan_(std::move(plan)) { requireComposable(plan_); }

  [[nodiscard]] const MontagePlan& plan() const { return plan_; }

  cv::Mat compose(const ImageSource& images, const cv::Rect& window, const Progress& progress) {
    requireWindow(window);
    requireCount(images);
    const ORV::Common::Platform::CpuOnly cpuOnly;
    prepare(images);
    const cv::Rect area = window + (plan_.origin - plan_.canvas.tl());
    Watcher watcher(progress, Stage::compose, plane_->tileCount(area));
    const WarpedImages warped = read(images, area);
    return composeArea(warped, area, watcher);
  }

  void compose(const ImageSource& images, MontageSink& sink, const Progress& progress) {
    const cv::Rect all(cv::Point(), plan_.size);
    if (plan_.options.normaliseBrightness) {  // known only from the whole montage
      const cv::Mat pixels = compose(images, all, progress);
      sink.begin(pixels.size(), pixels.type());
      sink.write(all, pixels);
      sink.finish();
      return;
    }
    requireCount(images);
    const ORV::Common::Platform::CpuOnly cpuOnly;
    prepare(images);
    const cv::Rect area = all + (plan_.origin - plan_.canvas.tl());
    const int side = plane_->tileSide();
    int tiles = 0;
    forEachRowOfTiles(area, side, [&](const cv::Rect& row) { tiles += plane_->tileCount(row); });
    Watcher watcher(progress, Stage::compose, tiles);
    const WarpedImages warped = read(images, area);
    sink.begin(plan_.size, typeOf());
    forEachRowOfTiles(area, side, [&](const cv::Rect& row) {
      sink.write(row - area.tl(), composeArea(warped, row, watcher));
    });
    sink.finish();
  }

 private:
  void requireWindow(const cv::Rect& window) const {
    const cv::Rect all(cv::Point(), plan_.size);
    if (window.empty() || (window & all) != window) {
      throw std::invalid_argument("window: a part of the montage of " + sizeText(plan_.size) +
                                  " pixels is expected");
    }
    if (plan_.options.normaliseBrightness && window != all) {
      throw std::invalid_argument(
          "window: a montage of normalised brightness can only be made as a whole");
    }
  }

  void requireCount(const ImageSource& images) const {
    if (images.count() != plan_.sourceCount) {
      throw std::invalid_argument("images: " + std::to_string(plan_.sourceCount) +
                                  " images are expected, " + std::to_string(images.count()) +
                                  " given");
    }
  }

  template <class Use>
  static void forEachRowOfTiles(const cv::Rect& area, int side, const Use& use) {
    for (int y = area.y / side * side; y < area.br().y; y += side) {
      use(cv::Rect(area.x, y, area.width, side) & area);
    }
  }

  /// The channels of the montage follow from the slab's first image.
  void prepare(const ImageSource& images) {
    first_ = readChecked(images, 0);
    if (plane_ && channels_ == first_.channels()) {
      return;
    }
    channels_ = first_.channels();
    plane_.emplace(layOut(plan_),
                   plan_.canvas.size(),
                   blendingOf(plan_),
                   samplingOf(plan_.options),
                   channels_);
  }

  [[nodiscard]] cv::Mat readChecked(const ImageSource& images, std::size_t i) const {
    const PlannedImage& planned = plan_.images[i];
    cv::Mat image = images.read(planned.index);
    const bool isPicture = image.type() == CV_8UC1 || image.type() == CV_8UC3;
    if (!isPicture || image.size() != planned.sourceSize) {
      throw std::invalid_argument(
          "images: " + images.name(planned.index) + " is expected to be an 8-bit image of " +
          sizeText(planned.sourceSize) + " pixels with one or three channels; it has " +
          sizeText(image.size()));
    }
    return image;
  }

  [[nodiscard]] WarpedImages read(const ImageSource& images, const cv::Rect& area) {
    WarpedImages warped = plane_->read(
        [&](std::size_t i) {
          const cv::Mat image = i == 0 ? first_ : readChecked(images, i);
          return composition::withChannels(
              composition::scaledForComposition(image, plan_.composeScale), channels_);
        },
        area);
    first_.release();
    return warped;
  }

  [[nodiscard]] int typeOf() const {
    constexpr int kWithAlpha = 4;
    return plan_.options.background == Background::transparent ? CV_8UC(kWithAlpha)
                                                               : CV_8UC(channels_);
  }

  [[nodiscard]] cv::Mat composeArea(const WarpedImages& warped,
                                    const cv::Rect& area,
                                    Watcher& watcher) const {
    cv::Mat pixels(area.size(), CV_8UC(channels_));
    cv::Mat coverage;
    if (plan_.options.background != Background::black) {
      coverage.create(area.size(), CV_8UC1);
    }
    plane_->compose(warped, area, pixels, coverage, [&] { watcher.step(); });
    if (plan_.options.normaliseBrightness) {
      composition::normaliseBrightness(pixels);
    }
    if (plan_.options.background == Background::white) {
      pixels.setTo(cv::Scalar::all(255), coverage == 0);
    }
    return plan_.options.background == Background::transparent ? withAlpha(pixels, coverage)
                                                               : pixels;
  }

  static cv::Mat withAlpha(const cv::Mat& pixels, const cv::Mat& alpha) {
    const cv::Mat colour = composition::withChannels(pixels, 3);
    cv::Mat result;
    cv::merge(std::vector<cv::Mat>{colour, alpha}, result);
    return result;
  }

  MontagePlan plan_;
  int channels_ = 0;
  cv::Mat first_;  ///< the slab's first image, between prepare() and read()
  std::optional<PlaneComposer> plane_;
};

Composer::Composer(MontagePlan plan) : engine_(std::make_unique<Engine>(std::move(plan))) {}
Composer::~Composer() = default;
Composer::Composer(Composer&&) noexcept = default;
Composer& Composer::operator=(Composer&&) noexcept = default;

const MontagePlan& Composer::plan() const {
  return engine_->plan();
}

cv::Mat Composer::compose(const ImageSource& images, const Progress& progress) {
  return engine_->compose(images, {cv::Point(), plan().size}, progress);
}

cv::Mat Composer::compose(const ImageSource& images,
                          const cv::Rect& window,
                          const Progress& progress) {
  return engine_->compose(images, window, progress);
}

void Composer::compose(const ImageSource& images, MontageSink& sink, const Progress& progress) {
  engine_->compose(images, sink, progress);
}

cv::Mat compose(const MontagePlan& plan, const ImageSource& images, const Progress& progress) {
  return Composer(plan).compose(images, progress);
}

cv::Mat compose(const MontagePlan& plan,
                const ImageSource& images,
                const cv::Rect& window,
                const Progress& progress) {
  return Composer(plan).compose(images, window, progress);
}

void compose(const MontagePlan& plan,
             const ImageSource& images,
             MontageSink& sink,
             const Progress& progress) {
  Composer(plan).compose(images, sink, progress);
}

}  // namespace montage
