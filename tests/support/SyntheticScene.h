// SPDX-License-Identifier: MIT
/// @file
/// Overlapping views of one picture by a camera that only turns, with exact truth.
///
/// The picture is a plane at infinity, `worldFromView` turns a ray of the view into the world (x to
/// the right, y downward, z into the picture), and pixel centres lie at integers.
#ifndef ORV_TESTS_SUPPORT_SYNTHETIC_SCENE_H
#define ORV_TESTS_SUPPORT_SYNTHETIC_SCENE_H

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include <cmath>
#include <vector>

namespace ORV::TestSupport {

/// Where the camera looks, in degrees: to the right, downward, clockwise.
struct Gaze {
  double yawDeg = 0;
  double pitchDeg = 0;
  double rollDeg = 0;
};

inline cv::Matx33d rotationOf(const Gaze& gaze) {
  const double radians = CV_PI / 180;
  const double cy = std::cos(gaze.yawDeg * radians), sy = std::sin(gaze.yawDeg * radians);
  const double cp = std::cos(gaze.pitchDeg * radians), sp = std::sin(gaze.pitchDeg * radians);
  const double cr = std::cos(gaze.rollDeg * radians), sr = std::sin(gaze.rollDeg * radians);
  const cv::Matx33d yaw(cy, 0, sy, 0, 1, 0, -sy, 0, cy);
  const cv::Matx33d pitch(1, 0, 0, 0, cp, sp, 0, -sp, cp);
  const cv::Matx33d roll(cr, -sr, 0, sr, cr, 0, 0, 0, 1);
  return yaw * pitch * roll;
}

/// Intrinsics of a camera whose principal point is the centre of the image.
inline cv::Matx33d intrinsics(double focal, cv::Size size) {
  return {focal, 0, (size.width - 1) / 2.0, 0, focal, (size.height - 1) / 2.0, 0, 0, 1};
}

/// A `CV_8UC3` picture full of corners at several scales; the same for the same seed.
inline cv::Mat makePicture(cv::Size size, unsigned seed) {
  constexpr int kShapesPerThousandPixels = 4;
  cv::RNG random(seed);
  cv::Mat picture(size, CV_8UC3, cv::Scalar::all(128));
  const int shapes = size.area() / 1000 * kShapesPerThousandPixels;
  for (int shape = 0; shape < shapes; ++shape) {
    const float remaining = 1.0F - static_cast<float>(shape) / static_cast<float>(shapes);
    const float largest = 8.0F + 60.0F * remaining;  // small shapes last, on top
    // One draw per statement: compilers differ in the order in which they evaluate arguments.
    const float angle = random.uniform(0.0F, 180.0F);
    const float height = random.uniform(5.0F, largest);
    const float width = random.uniform(5.0F, largest);
    const float y = random.uniform(0.0F, static_cast<float>(size.height));
    const float x = random.uniform(0.0F, static_cast<float>(size.width));
    const cv::RotatedRect box({x, y}, {width, height}, angle);
    cv::Point2f cornersOfBox[4];
    box.points(cornersOfBox);
    std::vector<cv::Point> polygon;
    for (const cv::Point2f& corner : cornersOfBox) {
      polygon.emplace_back(cvRound(corner.x), cvRound(corner.y));
    }
    const int red = random.uniform(20, 236);
    const int green = random.uniform(20, 236);
    const int blue = random.uniform(20, 236);
    const cv::Scalar colour(blue, green, red);
    cv::fillConvexPoly(picture, polygon, colour);
  }
  cv::GaussianBlur(picture, picture, cv::Size(), 1.0);
  return picture;
}

/// A set of views with everything that is true about them.
struct ViewSet {
  cv::Size size;
  cv::Matx33d K;
  std::vector<cv::Matx33d> worldFromView;
  std::vector<cv::Mat> images;

  int count() const { return static_cast<int>(images.size()); }
  /// Maps pixels of view `from` to pixels of view `to`.
  cv::Matx33d homography(int from, int to) const {
    return K * worldFromView[static_cast<std::size_t>(to)].t() *
           worldFromView[static_cast<std::size_t>(from)] * K.inv();
  }
};

struct ViewSettings {
  cv::Size size{320, 240};
  double focal = 420;
  std::vector<double> gains = {};  ///< brightness factor per view; empty: all 1
  double noiseSigma = 1.5;         ///< grey levels
  unsigned seed = 1;               ///< of the noise
};

/// Renders one view per gaze. The picture has the cameras' focal length and the world's z axis
/// through its centre.
inline ViewSet renderViews(const cv::Mat& picture,
                           const std::vector<Gaze>& gazes,
                           const ViewSettings& settings = {}) {
  ViewSet set;
  set.size = settings.size;
  set.K = intrinsics(settings.focal, settings.size);
  const cv::Matx33d pictureFromWorld = intrinsics(settings.focal, picture.size());
  cv::RNG random(settings.seed);
  for (std::size_t i = 0; i < gazes.size(); ++i) {
    set.worldFromView.push_back(rotationOf(gazes[i]));
    const cv::Matx33d pictureFromView = pictureFromWorld * set.worldFromView[i] * set.K.inv();
    cv::Mat view;
    cv::warpPerspective(picture,
                        view,
                        pictureFromView,
                        settings.size,
                        cv::INTER_LINEAR | cv::WARP_INVERSE_MAP,
                        cv::BORDER_REFLECT);
    cv::Mat noise(view.size(), CV_32FC(view.channels()));
    random.fill(noise, cv::RNG::NORMAL, 0.0, settings.noiseSigma);
    view.convertTo(view, CV_32F, settings.gains.empty() ? 1.0 : settings.gains[i]);
    view += noise;
    view.convertTo(view, CV_8U);
    set.images.push_back(view);
  }
  return set;
}

inline cv::Mat greyOf(const cv::Mat& image) {
  cv::Mat grey;
  cv::cvtColor(image, grey, cv::COLOR_BGR2GRAY);
  return grey;
}

inline std::vector<cv::Mat> greyOf(const std::vector<cv::Mat>& images) {
  std::vector<cv::Mat> grey;
  for (const cv::Mat& image : images) {
    grey.push_back(greyOf(image));
  }
  return grey;
}

}  // namespace ORV::TestSupport

#endif  // ORV_TESTS_SUPPORT_SYNTHETIC_SCENE_H
