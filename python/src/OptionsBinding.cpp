// SPDX-License-Identifier: MIT
#include "Module.h"
#include "OptionsClass.h"

#include <montage/Options.h>
#include <montage/TiffSink.h>

namespace montage_python {
namespace {

using montage::AdjustOptions;
using montage::FeatureOptions;
using montage::MatchOptions;
using montage::PairingOptions;
using montage::PlanOptions;
using montage::Preset;
using montage::RegisterOptions;
using montage::TiffOptions;

void bindRegisterOptions(py::module_& module) {
  OptionsClass<FeatureOptions>(module, "FeatureOptions", "How an image is described.")
      .field("kind", &FeatureOptions::kind, "'corners' or 'surf'")
      .field("megapixels",
             &FeatureOptions::megapixels,
             "resolution that images are reduced to, (0, 1000]; -1: full")
      .field("surf_threshold", &FeatureOptions::surfThreshold, "smallest Hessian determinant, >= 0")
      .field("surf_octaves", &FeatureOptions::surfOctaves, "1 to 8")
      .field("surf_layers", &FeatureOptions::surfLayers, "per octave, 1 to 8")
      .field("keep_image",
             &FeatureOptions::keepImage,
             "keep the grey image, so that matching can place points by their surroundings");
  OptionsClass<PairingOptions>(module, "PairingOptions", "Which pairs of images are compared.")
      .field("kind", &PairingOptions::kind, "'all', 'automatic', 'sequential', 'grid' or 'list'")
      .field("followers",
             &PairingOptions::followers,
             "sequential: with how many following images each one is compared, 1 to 100000")
      .field("close_loop",
             &PairingOptions::closeLoop,
             "sequential: the first images follow the last ones")
      .field("rows", &PairingOptions::rows, "grid: its rows; images come row by row")
      .field("columns", &PairingOptions::columns, "grid: its columns")
      .field("snake", &PairingOptions::snake, "grid: every second row runs from right to left")
      .field("pairs", &PairingOptions::pairs, "list: pairs of image numbers from 0");
  OptionsClass<MatchOptions>(module, "MatchOptions", "How two images are compared.")
      .field("strictness",
             &MatchOptions::strictness,
             "a match is below (1 - strictness) times the second best, [0, 1)")
      .field("refine", &MatchOptions::refine, "place points to a tenth of a pixel");
  OptionsClass<AdjustOptions>(module, "AdjustOptions", "How cameras are estimated.")
      .field("method", &AdjustOptions::method, "'robust' or 'plain'")
      .field("confidence", &AdjustOptions::confidence, "from which two images connect, > 0")
      .field("shared_focal",
             &AdjustOptions::sharedFocal,
             "one focal length for all images (robust method)");
  OptionsClass<RegisterOptions>(module, "RegisterOptions", "What register() does.")
      .field("features", &RegisterOptions::features, "FeatureOptions")
      .field("pairing", &RegisterOptions::pairing, "PairingOptions")
      .field("matching", &RegisterOptions::matching, "MatchOptions")
      .field("adjustment", &RegisterOptions::adjustment, "AdjustOptions")
      .field("reverse_order",
             &RegisterOptions::reverseOrder,
             "process the images from the last to the first")
      .field("keep_matches", &RegisterOptions::keepMatches, "keep the matches in the registration")
      .python()
      .def_static(
          "preset",
          [](const py::str& name) {
            return montage::registerOptions(valueOf<Preset>(name, "name"));
          },
          py::arg("name"),
          "The options of a pipeline: 'picture' (the default), 'basic' or 'diagnostic'.");
}

void bindPlanOptions(py::module_& module) {
  OptionsClass<PlanOptions>(module, "PlanOptions", "What plan() does.")
      .field("seams", &PlanOptions::seams, "'graph_cut' or 'none'")
      .field("seam_megapixels",
             &PlanOptions::seamMegapixels,
             "resolution per image of seams and gains, (0, 1000]; -1: full")
      .field("compose_megapixels",
             &PlanOptions::composeMegapixels,
             "resolution that every image is reduced to in the montage, (0, 1000]; -1: full")
      .field("exact_seams", &PlanOptions::exactSeams, "the cheapest cut of each overlap among all")
      .field("seam_widening", &PlanOptions::seamWidening, "pixels of the seam resolution, 0 to 100")
      .field("masks_inside_images",
             &PlanOptions::masksInsideImages,
             "masks stay inside their images, which are continued by reflection")
      .field("blending", &PlanOptions::blending, "'multi_band', 'feather' or 'none'")
      .field("bands", &PlanOptions::bands, "of multi-band blending, 1 to 5; 0: from the overlaps")
      .field(
          "straighten", &PlanOptions::straighten, "'automatic', 'horizontal', 'vertical' or 'none'")
      .field("face_mean_direction",
             &PlanOptions::faceMeanDirection,
             "the plane faces the mean viewing direction")
      .field("crop", &PlanOptions::crop, "'none', 'content' or 'inner'")
      .field("background", &PlanOptions::background, "'black', 'white' or 'transparent'")
      .field("normalise_brightness",
             &PlanOptions::normaliseBrightness,
             "one brightness for every montage; such a montage has no windows")
      .field("max_megapixels", &PlanOptions::maxMegapixels, "larger montages are refused, > 0")
      .python()
      .def_static(
          "preset",
          [](const py::str& name) { return montage::planOptions(valueOf<Preset>(name, "name")); },
          py::arg("name"),
          "The options of a pipeline: 'picture' (the default), 'basic' or 'diagnostic'.");
}

}  // namespace

void bindOptions(py::module_& module) {
  bindRegisterOptions(module);
  bindPlanOptions(module);
  OptionsClass<TiffOptions>(module, "TiffOptions", "How a TIFF file is written.")
      .field("compression", &TiffOptions::compression, "'none', 'deflate' or 'jpeg'")
      .field("quality", &TiffOptions::quality, "of JPEG, 1 to 100")
      .field("pyramid", &TiffOptions::pyramid, "add the picture at a half, a quarter, ...")
      .field("big_tiff", &TiffOptions::bigTiff, "a BigTIFF also where none is needed")
      .field("pixels_per_inch", &TiffOptions::pixelsPerInch, "[0, 10^6]; 0: not said");
}

}  // namespace montage_python
