// SPDX-License-Identifier: MIT
#include "montage/Compose.h"

#include "Composition/BrightnessNormalisation.h"
#include "Composition/CompositionImage.h"
#include "Composition/PlaneComposer.h"
#include "Pipeline/PlanLayout.h"
#include "Pipeline/Sweep.h"
#include "Pipeline/Watcher.h"
#include "Platform/FreeMemory.h"
#include "Platform/LargePages.h"
#include "Platform/OpenCvScope.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace montage {
namespace {

using composition::PlaneComposer;
using composition::WarpedImages;

std::string sizeText(cv::Size size) {
  return std::to_string(size.width) + " x " + std::to_string(size.height);
}

void requireComposable(const MontagePlan& plan) {
  if (plan.status != PlanStatus::ok) {
    throw std::invalid_argument("plan: a plan that is ok is expected; " + plan.reason);
  }
}

void requireChannels(const ComposeOptions& options) {
  if (options.channels != 0 && options.channels != 1 && options.channels != 3) {
    throw std::invalid_argument("channels: 0, 1 or 3 is expected, " +
                                std::to_string(options.channels) + " given");
  }
}

std::string megabytesText(std::uint64_t bytes) {
  constexpr std::uint64_t kMegabyte = 1000000;
  return std::to_string(bytes / kMegabyte + (bytes % kMegabyte > 0 ? 1 : 0)) + " MB";
}

}  // namespace

/// What a composer keeps for slabs with the same number of channels.
class Composer::Engine {
 public:
  Engine(MontagePlan plan, const ComposeOptions& options)
      : plan_(std::move(plan)), options_(options) {
    requireComposable(plan_);
    requireChannels(options_);
  }

  [[nodiscard]] const MontagePlan& plan() const { return plan_; }

  cv::Mat compose(const ImageSource& images, const cv::Rect& window, const Progress& progress) {
    requireWindow(window);
    Picture picture;
    run(images, window, Destination::memory, progress, [&](const cv::Rect& part, auto blend) {
      if (picture.pixels.empty()) {
        picture = emptyPicture(window.size());
      }
      blend(partOf(picture, part - window.tl()));
    });
    return finished(std::move(picture));
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
    const auto destination = sink.takesAnyOrder() ? Destination::rowsOrColumns : Destination::rows;
    bool begun = false;
    run(images, all, destination, progress, [&](const cv::Rect& part, auto blend) {
      if (!begun) {
        sink.begin(plan_.size, typeOf());
        begun = true;
      }
      const Picture picture = emptyPicture(part.size());
      blend(picture);
      sink.write(part, finished(picture));
    });
    sink.finish();
  }

 private:
  /// Pixels in the making and, where it is needed, what of them is covered.
  struct Picture {
    cv::Mat pixels;
    cv::Mat coverage;
  };

  /// Composes a window strip by strip: `use(strip, blend)` hands a picture of the strip's size to
  /// `blend` to be filled.
  template <class Use>
  void run(const ImageSource& images,
           const cv::Rect& window,
           Destination destination,
           const Progress& progress,
           const Use& use) {
    requireCount(images);
    const ORV::Common::Platform::CpuOnly cpuOnly;
    prepare(images);
    const cv::Point origin = plan_.origin - plan_.canvas.tl();
    const cv::Rect area = window + origin;
    const Sweep sweep = sweepWithin(budget(), *planner_, area, destination);
    int tiles = 0;
    for (const cv::Rect& strip : sweep.strips) {
      tiles += plane_->tileCount(strip);
    }
    Watcher watcher(progress, Stage::compose, tiles);
    keepMasksOf(sweep.holdAll ? plane_->imagesOf(area) : std::vector<std::size_t>());
    HeldImages held(*this, images, sweep.holdAll, watcher);
    for (const cv::Rect& strip : sweep.strips) {
      const WarpedImages& warped = held.imagesFor(sweep.holdAll ? area : strip);
      use(strip - origin, [&](const Picture& picture) {
        plane_->compose(
            warped, strip, picture.pixels, picture.coverage, [&watcher] { watcher.step(); });
      });
    }
  }

  /// The images of a slab that are in memory.
  class HeldImages {
   public:
    HeldImages(Engine& engine, const ImageSource& source, bool keepMasks, Watcher& watcher)
        : engine_(engine), source_(source), keepMasks_(keepMasks), watcher_(watcher) {}
    HeldImages(const HeldImages&) = delete;
    HeldImages& operator=(const HeldImages&) = delete;
    ~HeldImages() {
      engine_.first_.release();
      if (!keepMasks_) {
        engine_.plane_->release(held_);
      }
    }

    /// Lets go of what a strip does not need, and reads what it does.
    const WarpedImages& imagesFor(const cv::Rect& strip) {
      PlaneComposer& plane = *engine_.plane_;
      const std::vector<std::size_t> wanted = plane.imagesOf(strip);
      std::vector<std::size_t> ended;
      std::set_difference(
          held_.begin(), held_.end(), wanted.begin(), wanted.end(), std::back_inserter(ended));
      for (const std::size_t i : ended) {
        images_[i].reset();
      }
      plane.release(ended);
      std::vector<std::size_t> starting;
      std::set_difference(
          wanted.begin(), wanted.end(), held_.begin(), held_.end(), std::back_inserter(starting));
      held_ = wanted;  // before reading: masks of a failed start are let go too
      plane.read(
          starting, [&](std::size_t i) { return engine_.read(source_, i, watcher_); }, images_);
      return images_;
    }

   private:
    Engine& engine_;
    const ImageSource& source_;
    bool keepMasks_;
    Watcher& watcher_;
    std::vector<std::size_t> held_;  ///< ascending
    WarpedImages images_;
  };

  /// Slabs and neighbouring windows share masks; those of other windows would add up.
  void keepMasksOf(std::vector<std::size_t> images) {
    std::vector<std::size_t> ended;
    std::set_difference(
        kept_.begin(), kept_.end(), images.begin(), images.end(), std::back_inserter(ended));
    plane_->release(ended);
    kept_ = std::move(images);
  }

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

  /// The channels of the montage follow from the slab's first image.
  void prepare(const ImageSource& images) {
    if (options_.channels == 0) {
      first_ = readChecked(images, 0);
    }
    const int channels = options_.channels == 0 ? first_.channels() : options_.channels;
    if (plane_ && channels_ == channels) {
      return;
    }
    channels_ = channels;
    kept_.clear();
    placed_ = layOut(plan_);
    planner_.emplace(plan_, placed_, channels_);
    plane_.emplace(
        placed_,
        [this](std::size_t i) { return maskOf(plan_, placed_[i], i); },
        plan_.canvas.size(),
        blendingOf(plan_),
        samplingOf(plan_.options),
        channels_);
  }

  [[nodiscard]] MemoryBudget budget() const {
    if (options_.memoryBytes > 0) {
      return {options_.memoryBytes, options_.memoryBytes};
    }
    // Strips of montages that take more than this at once take no longer than all at once.
    constexpr std::uint64_t kAtOnce = 1000000000;
    constexpr double kShareOfFree = 0.6;
    const double free = static_cast<double>(ORV::Common::Platform::freeMemoryBytes());
    const auto most = static_cast<std::uint64_t>(kShareOfFree * free);
    return {std::min(kAtOnce, most), most};
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

  /// Image `i` as it is composed. Called by several threads, once per image.
  [[nodiscard]] cv::Mat read(const ImageSource& images, std::size_t i, Watcher& watcher) {
    watcher.poll();
    const cv::Mat image = i == 0 && !first_.empty() ? first_ : readChecked(images, i);
    if (i == 0) {
      first_.release();
    }
    return composition::withChannels(composition::scaledForComposition(image, plan_.composeScale),
                                     channels_);
  }

  [[nodiscard]] int typeOf() const {
    constexpr int kWithAlpha = 4;
    return plan_.options.background == Background::transparent ? CV_8UC(kWithAlpha)
                                                               : CV_8UC(channels_);
  }

  [[nodiscard]] Picture emptyPicture(cv::Size size) const {
    Picture picture{cv::Mat(size, CV_8UC(channels_)), {}};
    ORV::Common::Platform::preferLargePages(picture.pixels.data,
                                            picture.pixels.total() * picture.pixels.elemSize());
    if (plan_.options.background != Background::black) {
      picture.coverage.create(size, CV_8UC1);
    }
    return picture;
  }

  static Picture partOf(const Picture& picture, const cv::Rect& part) {
    return {picture.pixels(part), picture.coverage.empty() ? cv::Mat() : picture.coverage(part)};
  }

  /// The picture with its background.
  [[nodiscard]] cv::Mat finished(Picture picture) const {
    if (plan_.options.normaliseBrightness) {
      composition::normaliseBrightness(picture.pixels);
    }
    if (plan_.options.background == Background::white) {
      picture.pixels.setTo(cv::Scalar::all(255), picture.coverage == 0);
    }
    return plan_.options.background == Background::transparent
               ? withAlpha(picture.pixels, picture.coverage)
               : picture.pixels;
  }

  static cv::Mat withAlpha(const cv::Mat& pixels, const cv::Mat& alpha) {
    const cv::Mat colour = composition::withChannels(pixels, 3);
    cv::Mat result;
    cv::merge(std::vector<cv::Mat>{colour, alpha}, result);
    return result;
  }

  MontagePlan plan_;
  ComposeOptions options_;
  int channels_ = 0;
  cv::Mat first_;  ///< the slab's first image, from prepare() until it is needed
  std::vector<PlaneComposer::Image> placed_;
  std::optional<SweepPlanner> planner_;
  std::optional<PlaneComposer> plane_;
  std::vector<std::size_t> kept_;  ///< images whose masks outlive a run, ascending
};

MemoryLimitError::MemoryLimitError(std::uint64_t needed, std::uint64_t allowed)
    : std::runtime_error("composing takes at least " + megabytesText(needed) +
                         " of memory, and no more than " + megabytesText(allowed) +
                         " may be taken"),
      needed_(needed),
      allowed_(allowed) {}

Composer::Composer(MontagePlan plan, const ComposeOptions& options)
    : engine_(std::make_unique<Engine>(std::move(plan), options)) {}
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
