// SPDX-License-Identifier: MIT
#include "montage/Notes.h"

#include "Console.h"
#include "ImageIo.h"

#include <algorithm>
#include <cmath>
#include <sstream>

namespace orv2d {
namespace {

/// Matches of sharp images of a camera that only turns lie well below this, pixels.
constexpr double kLooseRms = 1.5;
constexpr std::size_t kMostNamed = 3;

struct Residual {
  std::string name;
  double rms;
};

double overallRms(const montage::Registration& registration) {
  double squares = 0.0;
  double count = 0.0;
  for (const montage::RegisteredPair& pair : registration.pairs) {
    if (pair.verdict == montage::PairVerdict::used && pair.rms >= 0.0) {
      squares += pair.inliers * pair.rms * pair.rms;
      count += pair.inliers;
    }
  }
  return count > 0.0 ? std::sqrt(squares / count) : 0.0;
}

/// The largest ones above the limit: "'a' (2.1 px), 'b' (1.8 px)".
std::string worstOf(std::vector<Residual> residuals) {
  std::sort(residuals.begin(), residuals.end(), [](const Residual& a, const Residual& b) {
    return a.rms > b.rms;
  });
  std::string text;
  for (std::size_t i = 0; i < std::min(residuals.size(), kMostNamed); ++i) {
    if (i == 0 || residuals[i].rms > kLooseRms) {
      text += (i == 0 ? "" : ", ") + residuals[i].name + " (" + fixed(residuals[i].rms, 1) + " px)";
    }
  }
  return text;
}

std::string resolutionAdvice(const montage::Registration& registration) {
  if (registration.scale >= 1.0) {
    return "";
  }
  std::ostringstream advice;
  advice << ", or --registration-mp higher than " << registration.options.features.megapixels
         << " (-1 for full resolution)";
  return advice.str();
}

/// The pair that came nearest to connecting.
std::string nearestPair(const montage::Registration& registration) {
  const auto& pairs = registration.pairs;
  const auto best = std::max_element(pairs.begin(), pairs.end(), [](const auto& a, const auto& b) {
    return a.confidence < b.confidence;
  });
  if (best == pairs.end() || best->inliers == 0) {
    return "no two share anything";
  }
  const auto nameOf = [&](int image) {
    return inQuotes(registration.images[static_cast<std::size_t>(image)].name);
  };
  return "the nearest are " + nameOf(best->first) + " and " + nameOf(best->second) + " (" +
         std::to_string(best->inliers) + " of " + std::to_string(best->matches) +
         " matches agree, confidence " + fixed(best->confidence, 2) + ", " +
         fixed(registration.options.adjustment.confidence, 2) + " needed)";
}

}  // namespace

std::vector<std::string> leftOutNotes(const MontageOutcome& outcome) {
  constexpr std::size_t kMostNotes = 10;
  std::vector<std::string> notes;
  std::size_t more = 0;
  for (int i = 0; i < static_cast<int>(outcome.registration->images.size()); ++i) {
    const ImageVerdict verdict = verdictOf(outcome, i);
    if (verdict.used) {
      continue;
    }
    if (notes.size() == kMostNotes) {
      ++more;
      continue;
    }
    const std::string& name = outcome.registration->images[static_cast<std::size_t>(i)].name;
    notes.push_back("left out: " + inQuotes(name) + ": " + verdict.reason + "; " + verdict.advice);
  }
  if (more > 0) {
    notes.push_back("left out: " + std::to_string(more) + " more");
  }
  return notes;
}

std::string looseNote(const montage::Registration& registration) {
  const double rms = overallRms(registration);
  if (registration.status != montage::RegistrationStatus::ok || rms <= kLooseRms) {
    return {};
  }
  std::vector<Residual> images;
  for (const int image : registration.used) {
    const montage::RegisteredImage& each = registration.images[static_cast<std::size_t>(image)];
    images.push_back({inQuotes(each.name), each.rms});
  }
  std::vector<Residual> pairs;
  for (const montage::RegisteredPair& pair : registration.pairs) {
    if (pair.verdict == montage::PairVerdict::used) {
      pairs.push_back({std::to_string(pair.first) + "-" + std::to_string(pair.second), pair.rms});
    }
  }
  return "note: the images do not fit together well: matches lie " + fixed(rms, 1) +
         " px (rms, registration resolution) from where the cameras put them; most in " +
         worstOf(images) + ", pairs " + worstOf(pairs) +
         "; photographs taken from one place, of a scene that stands still, fit better";
}

void requireConnected(const montage::Registration& registration, const std::string& pipeline) {
  const std::string count = counted(registration.images.size(), "image");
  switch (registration.status) {
    case montage::RegistrationStatus::ok:
      return;
    case montage::RegistrationStatus::notConnected:
      throw HostError(ExitCode::NoMontage,
                      "no montage: fewer than two of the " + count + " connect; " +
                          nearestPair(registration) +
                          "; try images that share a third or more of their picture, taken from "
                          "one place" +
                          resolutionAdvice(registration));
    case montage::RegistrationStatus::notFinite:
      break;
  }
  throw HostError(
      ExitCode::CamerasNotFinite,
      "no montage: the cameras of the " + count +
          " diverged (the estimate did not stay finite), as two takes of one view or a "
          "false pair can make them" +
          (pipeline == "picture" ? ""
                                 : "; --pipeline picture finds such pairs and leaves them out"));
}

void requireShowable(const montage::MontagePlan& plan, const MontageSettings& settings) {
  std::string advice;
  switch (plan.status) {
    case montage::PlanStatus::ok:
      return;
    case montage::PlanStatus::nothingToShow:
      advice = "a plane shows views up to 80 degrees from its middle; join fewer of them";
      break;
    case montage::PlanStatus::tooLarge:
      if (!plan.size.empty()) {
        advice = "lower --compose-mp or raise --max-size";
      } else if (settings.pipeline == "picture") {
        advice = "lower --compose-mp, or leave out the images that look furthest aside";
      } else {
        advice =
            "the cameras diverged, or some look far aside; --pipeline picture leaves such images "
            "out";
      }
      break;
  }
  throw HostError(ExitCode::NotShowable, "no montage: " + plan.reason + "; " + advice);
}

std::string mixedChannelsNote(const ImageFiles& images, int slab) {
  std::size_t known = 0;
  std::size_t grey = 0;
  for (int i = 0; i < images.count(); ++i) {
    if (const auto facts = images.facts(i)) {
      ++known;
      grey += facts->channels == 1 ? 1 : 0;
    }
  }
  return grey == 0 || grey == known
             ? ""
             : "note: in slab " + std::to_string(slab) + ", " + std::to_string(grey) + " of the " +
                   counted(known, "image") +
                   " are grey, the others colour; use --grey for an all-grey montage";
}

}  // namespace orv2d
