// SPDX-License-Identifier: MIT
#include "Pipeline/Reasons.h"

#include <algorithm>
#include <iomanip>
#include <sstream>
#include <string>
#include <vector>

namespace montage {
namespace {

/// With fewer keypoints than this even an identical image would not connect reliably.
constexpr int kFewKeypoints = 40;

/// A sentence names no more images of a group.
constexpr int kMostNames = 10;

std::size_t at(int index) {
  return static_cast<std::size_t>(index);
}

std::string counted(int count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string confidenceText(double confidence) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(2) << confidence;
  return text.str();
}

bool wasDropped(const RegisteredPair& pair) {
  return pair.verdict == PairVerdict::openLoop || pair.verdict == PairVerdict::largeResidual ||
         pair.verdict == PairVerdict::diverging;
}

int otherOf(const RegisteredPair& pair, int image) {
  return pair.first == image ? pair.second : pair.first;
}

std::string figuresOf(const RegisteredPair& pair) {
  return std::to_string(pair.inliers) + " of " + std::to_string(pair.matches) +
         " matches agree, confidence " + confidenceText(pair.confidence);
}

/// What an image has to do with.
struct Relations {
  std::vector<const RegisteredPair*> pairs;
  bool hasTwin = false;  ///< others were left out because they show the same view as this one
};

std::vector<Relations> relationsOf(const Registration& registration) {
  std::vector<Relations> relations(registration.images.size());
  for (const RegisteredPair& pair : registration.pairs) {
    relations[at(pair.first)].pairs.push_back(&pair);
    relations[at(pair.second)].pairs.push_back(&pair);
  }
  for (const RegisteredImage& image : registration.images) {
    if (image.alikeTo >= 0) {
      relations[at(image.alikeTo)].hasTwin = true;
    }
  }
  return relations;
}

Verdict verdictOf(const RegisteredImage& image, const Relations& relations) {
  if (std::any_of(relations.pairs.begin(), relations.pairs.end(), [](const auto* pair) {
        return wasDropped(*pair);
      })) {
    return Verdict::contradictory;
  }
  if (image.group > 0 || (image.group == 0 && !relations.hasTwin)) {
    return Verdict::anotherGroup;
  }
  return image.keypoints < kFewKeypoints ? Verdict::tooFewCorners : Verdict::noPartner;
}

std::string usedReason(const Relations& relations) {
  const auto partners =
      std::count_if(relations.pairs.begin(), relations.pairs.end(), [](const auto* pair) {
        return pair->verdict == PairVerdict::used;
      });
  return "used, connected to " + counted(static_cast<int>(partners), "image");
}

std::string noPartnerReason(const Registration& registration,
                            const Relations& relations,
                            int image) {
  const int best = registration.images[at(image)].bestPair;
  if (relations.hasTwin) {
    return "only images that show the same view connect to it";
  }
  if (best < 0) {
    return "no other image shares a single match with it";
  }
  const RegisteredPair& pair = registration.pairs[at(best)];
  return "no other image shares enough with it; the best is " +
         registration.images[at(otherOf(pair, image))].name + " (" + figuresOf(pair) + ", " +
         confidenceText(registration.options.adjustment.confidence) + " needed)";
}

std::string otherGroupReason(const Registration& registration, int image) {
  const int group = registration.images[at(image)].group;
  std::string names;
  int size = 0;
  for (const RegisteredImage& each : registration.images) {
    if (each.group == group) {
      ++size;
      if (&each != &registration.images[at(image)] && size <= kMostNames) {
        names += (names.empty() ? "" : ", ") + each.name;
      }
    }
  }
  names += size > kMostNames ? " and others" : "";
  return "it belongs to a smaller group of " + counted(size, "image") + " (with " + names +
         "), which nothing connects to the largest";
}

std::string contradictionReason(const Registration& registration,
                                const Relations& relations,
                                int image) {
  std::string pairs;
  for (const RegisteredPair* const pair : relations.pairs) {
    if (wasDropped(*pair)) {
      pairs += (pairs.empty() ? "" : "; ") +
               ("with " + registration.images[at(otherOf(*pair, image))].name) + ": " +
               sentenceOf(pair->verdict);
    }
  }
  return "its pairs contradict those of the other images (" + pairs + ")";
}

void findBestPairs(Registration& registration) {
  for (std::size_t p = 0; p < registration.pairs.size(); ++p) {
    const RegisteredPair& pair = registration.pairs[p];
    for (const int image : {pair.first, pair.second}) {
      int& best = registration.images[at(image)].bestPair;
      if (best < 0 || pair.confidence > registration.pairs[at(best)].confidence) {
        best = static_cast<int>(p);
      }
    }
  }
}

std::string reasonOf(const Registration& registration, const Relations& relations, int image) {
  const RegisteredImage& each = registration.images[at(image)];
  switch (each.verdict) {
    case Verdict::used:
      return usedReason(relations);
    case Verdict::unreadable:
      return each.reason;
    case Verdict::tooFewCorners:
      return "only " + counted(each.keypoints, "corner") + " found in it";
    case Verdict::noPartner:
      return noPartnerReason(registration, relations, image);
    case Verdict::anotherGroup:
      return otherGroupReason(registration, image);
    case Verdict::contradictory:
      return contradictionReason(registration, relations, image);
    case Verdict::tooAlike:
      return "it shows the same view as " + registration.images[at(each.alikeTo)].name;
  }
  return {};
}

}  // namespace

void giveVerdicts(const std::map<int, int>& alike, Registration& registration) {
  for (const auto& [image, twin] : alike) {
    registration.images[at(image)].verdict = Verdict::tooAlike;
    registration.images[at(image)].alikeTo = twin;
  }
  const std::vector<Relations> relations = relationsOf(registration);
  for (std::size_t i = 0; i < registration.images.size(); ++i) {
    RegisteredImage& image = registration.images[i];
    if (image.verdict != Verdict::used && image.verdict != Verdict::tooAlike) {
      image.verdict = verdictOf(image, relations[i]);
    }
  }
}

void giveReasons(Registration& registration) {
  findBestPairs(registration);
  const std::vector<Relations> relations = relationsOf(registration);
  for (std::size_t i = 0; i < registration.images.size(); ++i) {
    registration.images[i].reason = reasonOf(registration, relations[i], static_cast<int>(i));
  }
}

const char* nameOf(Verdict verdict) {
  switch (verdict) {
    case Verdict::used:
      return "used";
    case Verdict::unreadable:
      return "unreadable";
    case Verdict::tooFewCorners:
      return "tooFewCorners";
    case Verdict::noPartner:
      return "noPartner";
    case Verdict::anotherGroup:
      return "anotherGroup";
    case Verdict::contradictory:
      return "contradictory";
    case Verdict::tooAlike:
      return "tooAlike";
  }
  return "";
}

const char* sentenceOf(Verdict verdict) {
  switch (verdict) {
    case Verdict::used:
      return "the image is part of the montage";
    case Verdict::unreadable:
      return "the image could not be read";
    case Verdict::tooFewCorners:
      return "there is too little to recognise in the image";
    case Verdict::noPartner:
      return "no other image shares enough with the image";
    case Verdict::anotherGroup:
      return "the image connects to some images, but not to the largest group";
    case Verdict::contradictory:
      return "the image's pairs contradict those of the other images";
    case Verdict::tooAlike:
      return "the image shows the same view as another one";
  }
  return "";
}

const char* adviceOn(Verdict verdict) {
  switch (verdict) {
    case Verdict::used:
      return "";
    case Verdict::unreadable:
      return "check the file";
    case Verdict::tooFewCorners:
      return "register at a higher resolution, or take a sharper picture";
    case Verdict::noPartner:
      return "take images that share a third or more of their picture from one place, or register "
             "at a higher resolution";
    case Verdict::anotherGroup:
      return "add an image that overlaps both groups";
    case Verdict::contradictory:
      return "look whether the scene repeats itself or something in it has moved";
    case Verdict::tooAlike:
      return "nothing is missing: the other image shows it";
  }
  return "";
}

const char* nameOf(PairVerdict verdict) {
  switch (verdict) {
    case PairVerdict::used:
      return "used";
    case PairVerdict::tooWeak:
      return "tooWeak";
    case PairVerdict::outside:
      return "outside";
    case PairVerdict::openLoop:
      return "openLoop";
    case PairVerdict::largeResidual:
      return "largeResidual";
    case PairVerdict::diverging:
      return "diverging";
  }
  return "";
}

const char* sentenceOf(PairVerdict verdict) {
  switch (verdict) {
    case PairVerdict::used:
      return "it refined the cameras";
    case PairVerdict::tooWeak:
      return "too few of its matches agree";
    case PairVerdict::outside:
      return "one of its images is not used";
    case PairVerdict::openLoop:
      return "its rotation contradicts the other ways between its images";
    case PairVerdict::largeResidual:
      return "its matches lie far from where the cameras put them";
    case PairVerdict::diverging:
      return "the cameras did not stay finite with it";
  }
  return "";
}

const char* sentenceOf(RegistrationStatus status) {
  switch (status) {
    case RegistrationStatus::ok:
      return "success";
    case RegistrationStatus::notConnected:
      return "fewer than two images connect";
    case RegistrationStatus::notFinite:
      return "the camera estimate did not stay finite";
  }
  return "";
}

}  // namespace montage
