// SPDX-License-Identifier: MIT
/// @file
/// What every call into OpenCV's stitching module needs around it: no OpenCL, a fixed random state,
/// and safe passage between `cv::Mat` and `cv::UMat`.
#ifndef ORV_MONTAGE_PLATFORM_OPENCV_SCOPE_H
#define ORV_MONTAGE_PLATFORM_OPENCV_SCOPE_H

#include <opencv2/core.hpp>
#include <opencv2/core/ocl.hpp>

#include <cstdint>
#include <vector>

namespace ORV::Common::Platform {

/// Keeps OpenCL out of the calls made while it lives, on this thread only.
///
/// With an OpenCL device the stitching classes give other warp maps, gains and seams (up to 10 grey
/// levels); results must not depend on the host's devices. Nests; the host's choice is put back.
class CpuOnly {
 public:
  CpuOnly() {
    if (!cv::ocl::useOpenCL()) {
      return;
    }
    cv::ocl::finish();  // a UMat of the host may still be in flight
    saved_ = cv::ocl::OpenCLExecutionContext::getCurrent();
    // A queue of its own: switching OpenCL off on the shared context would switch it off for all
    // threads of the host.
    auto own = saved_.cloneWithNewQueue();
    own.setUseOpenCL(false);
    own.bind();
  }
  ~CpuOnly() {
    if (!saved_.empty()) {
      saved_.bind();
    }
  }
  CpuOnly(const CpuOnly&) = delete;
  CpuOnly& operator=(const CpuOnly&) = delete;

 private:
  cv::ocl::OpenCLExecutionContext saved_;
};

/// Gives OpenCV's generator of this thread its start state while it lives, then puts the host's
/// back.
///
/// OpenCV's loop over image pairs seeds `cv::theRNG()` anew for every pair, and its drawings take
/// random colours from it: results must not depend on what ran before on the thread, and the host's
/// own sequence must not be disturbed.
class FixedRandomState {
 public:
  FixedRandomState() : saved_(cv::theRNG().state) { cv::theRNG().state = kStateOfFreshThread; }
  ~FixedRandomState() { cv::theRNG().state = saved_; }
  FixedRandomState(const FixedRandomState&) = delete;
  FixedRandomState& operator=(const FixedRandomState&) = delete;

 private:
  static constexpr std::uint64_t kStateOfFreshThread = 0xffffffffU;
  std::uint64_t saved_;
};

/// Copies every image. A copy, because a `cv::Mat` view of a `cv::UMat` (or the reverse) that
/// outlives its source ends the process in OpenCV 4.6.
inline std::vector<cv::UMat> toUMats(const std::vector<cv::Mat>& images) {
  std::vector<cv::UMat> copies(images.size());
  for (std::size_t i = 0; i < images.size(); ++i) {
    images[i].copyTo(copies[i]);
  }
  return copies;
}

}  // namespace ORV::Common::Platform

#endif  // ORV_MONTAGE_PLATFORM_OPENCV_SCOPE_H
