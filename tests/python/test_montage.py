# SPDX-License-Identifier: MIT
"""Montages have the bytes of the C++ library, whatever the arrays look like."""

import pickle
import tracemalloc

import numpy as np
import pytest

import montage_native as mn


@pytest.fixture(scope="module")
def registration(photographs):
    return mn.register(photographs)


@pytest.fixture(scope="module")
def plan(registration, photographs):
    return mn.plan(registration, photographs)


@pytest.fixture(scope="module")
def picture(plan, photographs):
    return mn.compose(plan, photographs)


def test_files_are_those_of_orv2d(plan, picture, registration, photographs, program, tmp_path):
    program("orv2d", "montage", *photographs, "-o", tmp_path / "host.tif", "--pyramid", "--quiet",
            "--save-registration", tmp_path / "host.json")
    tiff = mn.TiffOptions(pyramid=True)
    assert mn.compose(plan, photographs, out=tmp_path / "python.tif", tiff=tiff) is None
    assert (tmp_path / "python.tif").read_bytes() == (tmp_path / "host.tif").read_bytes()
    assert registration.to_bytes() == (tmp_path / "host.json").read_bytes()
    assert np.array_equal(mn.read_image(tmp_path / "host.tif"), picture)


def test_orders_and_windows_and_targets_agree(plan, picture, photographs):
    rgb = [mn.read_image(each) for each in photographs]
    bgr = [mn.read_image(each, order="bgr") for each in photographs]
    assert np.array_equal(rgb[0], bgr[0][..., ::-1])
    assert np.array_equal(mn.montage(rgb), picture)
    assert np.array_equal(mn.montage([each[..., ::-1] for each in bgr]), picture)
    composer = mn.Composer(plan)
    assert np.array_equal(composer.compose(bgr, order="bgr"), picture[..., ::-1])
    x, y, width, height = window = (37, 11, 400, 300)
    part = picture[y : y + height, x : x + width]
    assert np.array_equal(composer.compose([photographs[0], *rgb[1:]], window), part)
    frame = np.zeros((height + 2, width + 2, 3), np.uint8)
    inner = frame[1:-1, 1:-1]
    assert composer.compose(rgb, window, inner) is inner
    assert np.array_equal(inner, part)
    assert not frame[0].any() and not frame[:, 0].any()
    assert mn.compose(plan, rgb, window, channels=1).shape == (height, width)


def test_layouts_of_arrays(photographs):
    image = mn.read_image(photographs[0], order="bgr")
    height, width, _ = image.shape
    padded = np.zeros((height, width + 5, 3), np.uint8)[:, 2:-3]
    padded[:] = image
    read_only = image.copy()
    read_only.setflags(write=False)
    wanted = mn.describe(image, order="bgr").to_bytes()
    for borrowed in (padded, read_only):
        tracemalloc.start()
        assert mn.describe(borrowed, order="bgr").to_bytes() == wanted
        assert tracemalloc.get_traced_memory()[1] - len(wanted) < 3 * width * height
        tracemalloc.stop()
    spread = np.zeros((2 * height, 2 * width, 3), np.uint8)[::2, ::2]
    spread[:] = image
    for copied in (np.asfortranarray(image), spread, image[::-1].copy()[::-1], image[..., ::-1]):
        order = "rgb" if copied.strides[2] < 0 else "bgr"
        assert mn.describe(copied, order=order).to_bytes() == wanted
    grey = image[..., 1]
    assert mn.hash_of(grey) == mn.hash_of(grey[..., None]) == mn.hash_of(np.ascontiguousarray(grey))


def test_steps_agree_with_register(photographs, registration, program, tmp_path):
    scale = mn.feature_scale([mn.read_image(each).shape[:2] for each in photographs])
    features = [mn.describe(each, scale=scale) for each in photographs]
    pairs = []
    for first, second in mn.select_pairs([each.slim() for each in features]):
        pair = mn.match(features[first], features[second])
        pair.first, pair.second = first, second
        pairs.append(pickle.loads(pickle.dumps(pair)))
    numbers = [(pair.first, pair.second) for pair in pairs]
    together = mn.match_pairs(features, numbers[::-1])[::-1]
    assert [each.to_bytes() for each in together] == [each.to_bytes() for each in pairs]
    with pytest.raises(mn.ArgumentError):
        mn.match_pairs(features, [(0, len(features))])
    program("orv2d", "register", *photographs, "--pairs", "grid:2x3", "-o", tmp_path / "grid.json", "--quiet")
    grid = mn.select_pairs(features, mn.PairingOptions(kind="grid", rows=2, columns=3))
    found = mn.Registration.load(tmp_path / "grid.json").pairs
    assert [(pair.first, pair.second) for pair in found] == grid != numbers
    adjusted = mn.adjust([each.slim() for each in features], pairs)
    for image, name in zip(adjusted.images, photographs):
        image.name = name
    adjusted.options = registration.options
    assert adjusted.to_bytes() == registration.to_bytes()
    first = pairs[0]
    assert first.inliers.sum() == first.inlier_count and len(first.matches) == len(first)
    assert features[0].descriptors.shape == (len(features[0]), 128)
    assert not features[0].keypoints.flags.writeable


def test_values_survive_pickling_and_files(registration, plan, photographs, tmp_path):
    features = mn.describe(photographs[0])
    for value in (registration, plan, features):
        value.save(tmp_path / "value")
        for again in (pickle.loads(pickle.dumps(value)), type(value).load(tmp_path / "value")):
            assert again.to_bytes() == value.to_bytes() and repr(again) == repr(value)
    options = mn.PlanOptions(crop="inner", bands=3)
    assert pickle.loads(pickle.dumps(options)) == options != mn.PlanOptions()
    assert registration.to_dict()["images"][0]["verdict"] == "used"
    assert plan.to_dict()["options"]["blending"] == "multi_band"
    assert photographs[0] in registration._repr_html_()
    x, y = plan.montage_from_image(0, (10.0, 20.0))
    assert 0 <= x < plan.shape[1] and 0 <= y < plan.shape[0]


def test_pictures_are_written_in_blocks(tmp_path):
    rng = np.random.default_rng(1)
    picture = rng.integers(0, 255, (2100, 3000, 3), np.uint8)
    mn.write_tiff(tmp_path / "a.tif", picture)
    assert np.array_equal(mn.read_image(tmp_path / "a.tif"), picture)
    with pytest.raises(KeyError), mn.TiffWriter(tmp_path / "b.tif", (600, 600)) as file:
        file.write(0, 0, np.zeros((600, 300), np.uint8))
        raise KeyError
    assert [each.name for each in tmp_path.iterdir()] == ["a.tif"]


@pytest.mark.parametrize("mode, parameters", [
    ("square", {}),
    ("range", {"min_angle_deg": -70, "max_angle_deg": 70}),
    ("rect", {"output_size": 500}),
    ("fov", {"cone_angle_deg": 30}),
    ("pinhole", {"focal_x": 500, "focal_y": 500, "k1": -0.1}),
    ("view", {"fov_x_deg": 60, "fov_y_deg": 40, "radial": 0.2}),
])
def test_corrections_are_those_of_orv2d(mode, parameters, photographs, program, tmp_path):
    if mode in ("square", "range", "fov", "rect"):
        parameters = {"half_field_angle": 1.2, **parameters}
    image = mn.read_image(photographs[0])
    y, x = np.ogrid[-1 : 1 : image.shape[0] * 1j, -1 : 1 : image.shape[1] * 1j]
    image[x**2 + y**2 > 0.1] = 0
    before = image.copy()
    mn.write_tiff(tmp_path / "in.tif", image)
    options = [f"--{name.replace('_', '-')}={value}" for name, value in parameters.items()]
    program("orv2d", "correct", tmp_path / "in.tif", "-o", tmp_path / "host.png", "--mode", mode,
            *options, "--quiet")
    wanted = mn.read_image(tmp_path / "host.png")
    assert np.array_equal(mn.correct(tmp_path / "in.tif", mode, **parameters).image, wanted)
    assert np.array_equal(mn.correct(image, mode, **parameters).image, wanted)
    assert np.array_equal(image, before)


def test_sampling_maps_point_into_the_image():
    columns, rows = mn.sampling_maps((300, 400), output_size=101, half_field_angle=1.2)
    assert columns.dtype == np.float32 and columns.shape == rows.shape == (101, 101)
    assert columns[50, 50] == pytest.approx(200) and rows[50, 50] == pytest.approx(150)
