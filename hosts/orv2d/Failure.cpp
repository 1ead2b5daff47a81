// SPDX-License-Identifier: MIT
#include "Failure.h"

#include <opencv2/core.hpp>

#include <montage/Images.h>
#include <new>

namespace orv2d {
namespace {

const char* const kOutOfMemory =
    "out of memory; use fewer or smaller images, or a lower resolution";

std::string sentenceOf(const cv::Exception& error) {
  if (error.code == cv::Error::StsNoMem) {
    return kOutOfMemory;
  }
  if (error.code == cv::Error::StsOutOfRange) {
    return "the result would be too large (" + error.err + "); use a lower resolution";
  }
  return "internal error in " + error.func + ": " + error.err;
}

}  // namespace

Failure currentFailure() {
  try {
    throw;
  } catch (const HostError& error) {
    return {error.code(), error.what()};
  } catch (const montage::FileError& error) {
    return {ExitCode::UnreadableInput, std::string("cannot use ") + error.what()};
  } catch (const cv::Exception& error) {
    return {ExitCode::InternalError, sentenceOf(error)};
  } catch (const std::bad_alloc&) {
    return {ExitCode::InternalError, kOutOfMemory};
  } catch (const std::exception& error) {
    return {ExitCode::InternalError, std::string("internal error: ") + error.what()};
  } catch (...) {
    return {ExitCode::InternalError, "internal error"};
  }
}

}  // namespace orv2d
