// SPDX-License-Identifier: MIT
#include "PickledFeatures.h"

#include "Arrays.h"

#include <cstring>
#include <pybind11/stl.h>
#include <type_traits>

namespace montage_python {
namespace {

using Bytes = py::array_t<unsigned char, py::array::c_style>;
using Size = std::pair<int, int>;

template <class Value>
py::array bytesOf(const std::vector<Value>& values, const py::object& owner) {
  const auto* begin = reinterpret_cast<const unsigned char*>(values.data());
  py::array_t<unsigned char> bytes(
      static_cast<py::ssize_t>(values.size() * sizeof(Value)), begin, owner);
  bytes.attr("setflags")(py::arg("write") = false);
  return std::move(bytes);
}

template <class Value>
std::vector<Value> valuesFrom(const py::handle& state) {
  const auto bytes = state.cast<Bytes>();
  const auto size = static_cast<std::size_t>(bytes.size());
  if (size % sizeof(Value) != 0) {
    throw py::value_error("damaged: the parts do not fit together");
  }
  std::vector<Value> values(size / sizeof(Value));
  if (size > 0) {
    std::memcpy(static_cast<void*>(values.data()), bytes.data(), size);
  }
  return values;
}

cv::Mat matFrom(const py::handle& state, int depth) {
  if (state.is_none()) {
    return {};
  }
  const auto array =
      py::array::ensure(state, py::array::c_style | py::detail::npy_api::NPY_ARRAY_ALIGNED_);
  const auto element = depth == CV_8U ? 1 : 4;
  if (array.ndim() != 2 || array.itemsize() != element) {
    throw py::value_error("damaged: the parts do not fit together");
  }
  cv::Mat mat(static_cast<int>(array.shape(0)), static_cast<int>(array.shape(1)), depth);
  std::memcpy(mat.data, array.data(), static_cast<std::size_t>(array.nbytes()));
  return mat;
}

cv::Size sizeFrom(const py::handle& state) {
  const auto [width, height] = state.cast<Size>();
  return {width, height};
}

}  // namespace

py::tuple stateOf(const montage::Features& features, const py::object& owner) {
  return py::make_tuple(static_cast<int>(features.kind),
                        Size(features.imageSize.width, features.imageSize.height),
                        features.scale,
                        Size(features.scaledSize.width, features.scaledSize.height),
                        features.hash,
                        bytesOf(features.keypoints, owner),
                        viewOf(features.descriptors, owner),
                        viewOf(features.image, owner));
}

montage::Features featuresFrom(const py::tuple& state) {
  montage::Features features;
  features.kind = static_cast<montage::FeatureKind>(state[0].cast<int>());
  features.imageSize = sizeFrom(state[1]);
  features.scale = state[2].cast<double>();
  features.scaledSize = sizeFrom(state[3]);
  features.hash = state[4].cast<std::uint64_t>();
  features.keypoints = valuesFrom<cv::KeyPoint>(state[5]);
  features.descriptors =
      matFrom(state[6], features.kind == montage::FeatureKind::corners ? CV_8U : CV_32F);
  features.image = matFrom(state[7], CV_8U);
  return features;
}

py::tuple stateOf(const montage::PairMatches& pair, const py::object& owner) {
  std::vector<double> homography(pair.secondFromFirst.val, pair.secondFromFirst.val + 9);
  return py::make_tuple(pair.first,
                        pair.second,
                        bytesOf(pair.matches, owner),
                        bytesOf(pair.inliers, owner),
                        bytesOf(pair.shifts, owner),
                        pair.inlierCount,
                        pair.hasHomography,
                        homography,
                        pair.confidence);
}

montage::PairMatches pairMatchesFrom(const py::tuple& state) {
  montage::PairMatches pair;
  pair.first = state[0].cast<int>();
  pair.second = state[1].cast<int>();
  pair.matches = valuesFrom<cv::DMatch>(state[2]);
  pair.inliers = valuesFrom<unsigned char>(state[3]);
  pair.shifts = valuesFrom<cv::Point2f>(state[4]);
  pair.inlierCount = state[5].cast<int>();
  pair.hasHomography = state[6].cast<bool>();
  pair.secondFromFirst = cv::Matx33d(state[7].cast<std::vector<double>>().data());
  pair.confidence = state[8].cast<double>();
  return pair;
}

}  // namespace montage_python
