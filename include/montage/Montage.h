// SPDX-License-Identifier: MIT
/// @file
/// From overlapping images to a montage, as free functions on values.
///
///     images --describe--> Features --match--> PairMatches --adjust--> Registration
///     Registration + images --planMontage--> MontagePlan --compose--> pixels
///
/// @code
/// #include <montage/Montage.h>
///
/// const montage::FileSource images({"left.jpg", "middle.jpg", "right.jpg"});
/// const montage::Registration registration = montage::registerImages(images);
/// const montage::MontagePlan plan = montage::planMontage(registration, images);
/// if (plan.status == montage::PlanStatus::ok) {
///   cv::imwrite("montage.png", montage::compose(plan, images));
/// }
/// @endcode
///
/// Every value is a plain struct that can be copied, saved and loaded; every step can be watched
/// and stopped (`Progress`). What is to be expected of photographs (two images do not connect, the
/// montage would be too large) is a status with a sentence inside the value. Exceptions:
/// `std::invalid_argument` for a wrong argument, with its name; `FileError` for a file, with its
/// path; `Cancelled`; `std::bad_alloc`; and what OpenCV throws.
///
/// The same input gives the same bytes, for any number of threads. All functions are re-entrant.
#ifndef ORV_MONTAGE_APPLICATION_MONTAGE_H
#define ORV_MONTAGE_APPLICATION_MONTAGE_H

#include "montage/Compose.h"
#include "montage/Features.h"
#include "montage/Images.h"
#include "montage/MontagePlan.h"
#include "montage/Options.h"
#include "montage/Progress.h"
#include "montage/Registration.h"
#include "montage/TiffSink.h"

#endif  // ORV_MONTAGE_APPLICATION_MONTAGE_H
