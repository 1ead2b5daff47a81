# SPDX-License-Identifier: MIT
"""Errors, callbacks, signals and threads."""

import pickle
import signal
import threading
import time

import numpy as np
import pytest

import montage_native as mn

GREY = np.zeros((60, 80), np.uint8)


@pytest.mark.parametrize("call, error, words", [
    (lambda: mn.describe(GREY.astype(float)), mn.ArgumentError, "image: an array of uint8"),
    (lambda: mn.describe(GREY > 0), mn.ArgumentError, "bool given"),
    (lambda: mn.describe(GREY[:, :0]), mn.ArgumentError, r"image: .*shape \(60, 0\) given"),
    (lambda: mn.describe(np.zeros((4, 4, 2), np.uint8)), mn.ArgumentError, "1 or 3 channels"),
    (lambda: mn.describe(7), TypeError, "image: an array of uint8 is expected, int given"),
    (lambda: mn.register("a.png"), TypeError, "images: a sequence"),
    (lambda: mn.register([GREY, GREY[0]]), mn.ArgumentError, r"images\[1\]: "),
    (lambda: mn.register([GREY], order="rbg"), mn.ArgumentError, "order: 'rgb' or 'bgr'"),
    (lambda: mn.register([GREY], progress=3), TypeError, "progress: a function"),
    (lambda: mn.PlanOptions(crop="middle"), mn.ArgumentError, "PlanOptions.crop: one of 'none'"),
    (lambda: mn.PlanOptions(bands="3"), TypeError, "PlanOptions.bands: an int"),
    (lambda: mn.PlanOptions(depth=3), TypeError, "PlanOptions has no field 'depth'"),
    (lambda: mn.describe(GREY, mn.FeatureOptions(surf_layers=9)), mn.ArgumentError,
     r"features.surf_layers: a value from 1 to 8 is expected, 9 given"),
    (lambda: mn.read_image("/nowhere.png"), mn.FileError, "'/nowhere.png': "),
    (lambda: mn.read_image("/nowhere.png"), OSError, ""),
    (lambda: mn.montage([GREY, GREY]), mn.NoMontageError, ""),
    (lambda: mn.TiffWriter("a.png", (1, 1)), mn.ArgumentError, "path: a name that ends in .tif"),
    (lambda: mn.correct(GREY, "round"), mn.ArgumentError, "mode: one of"),
    (lambda: mn.correct(GREY, "fov", half_field_angle=1), TypeError, "needs cone_angle_deg"),
    (lambda: mn.correct(GREY + 255, "fov", half_field_angle=1.2, cone_angle_deg=30),
     mn.CorrectionError, "mode fov has no result"),
])
def test_errors_name_what_is_wrong(call, error, words):
    with pytest.raises(error, match=words) as caught:
        call()
    again = pickle.loads(pickle.dumps(caught.value))
    assert str(again) == str(caught.value) and vars(again).keys() == vars(caught.value).keys()


def test_targets_are_checked(photographs):
    plan = mn.plan(mn.register(photographs), photographs)
    picture = np.zeros((*plan.shape, 3), np.uint8)
    read_only = picture.copy()
    read_only.setflags(write=False)
    for out, words in [(picture[1:], "out: an array of .* given"), (read_only, "a read-only one"),
                       (picture[..., ::-1], "other strides"), (picture[..., 0], "out: ")]:
        with pytest.raises(mn.ArgumentError, match=words):
            mn.compose(plan, photographs, out=out)
    with pytest.raises(mn.MemoryLimitError) as caught:
        mn.compose(plan, photographs, memory_bytes=1000)
    assert caught.value.needed > caught.value.allowed == 1000
    with pytest.raises(mn.ArgumentError, match="window: "):
        mn.compose(plan, photographs, (0, 0, plan.shape[1] + 1, 1))


def test_callbacks_see_all_and_end_it(photographs):
    seen = []
    mn.register(photographs, progress=lambda *report: seen.append(report))
    assert {"describe", "match", "adjust"} <= {stage for stage, _, _ in seen}
    assert all(0 <= done <= total for _, done, total in seen)
    with pytest.raises(mn.Cancelled):
        mn.register(photographs, progress=lambda *report: False)

    def fail(stage, done, total):
        if stage == "match" and done == 3:
            raise KeyError("enough")

    with pytest.raises(KeyError, match="enough"):
        mn.register(photographs, progress=fail)
    with pytest.raises(KeyError):  # in a thread that handles no signals
        errors = []
        thread = threading.Thread(target=lambda: errors.append(_error_of(photographs, fail)))
        thread.start()
        thread.join()
        raise errors[0]


def _error_of(photographs, progress):
    try:
        mn.register(photographs, progress=progress)
    except KeyError as error:
        return error


@pytest.mark.parametrize("progress", [None, lambda *report: None])
def test_control_c_ends_a_long_call_within_a_second(photographs, progress):
    options = mn.RegisterOptions(features=mn.FeatureOptions(megapixels=-1, kind="surf"),
                                 pairing=mn.PairingOptions(kind="all"))
    images = photographs * 12
    raised = []

    def interrupt(number, frame):
        raised.append(time.monotonic())
        raise KeyboardInterrupt

    before = signal.signal(signal.SIGALRM, interrupt)
    try:
        signal.setitimer(signal.ITIMER_REAL, 0.4)
        with pytest.raises(KeyboardInterrupt):
            mn.register(images, options, progress)
        assert time.monotonic() - raised[0] < 1.0
    finally:
        signal.signal(signal.SIGALRM, before)


def test_other_threads_run_meanwhile(photographs):
    steps = 0
    done = threading.Event()

    def count():
        nonlocal steps
        while not done.is_set():
            steps += 1
            time.sleep(0.001)

    thread = threading.Thread(target=count)
    thread.start()
    mn.register(photographs)
    done.set()
    thread.join()
    assert steps > 20


def test_number_of_threads_changes_no_byte(photographs):
    many = mn.montage(photographs)
    mn.set_threads(1)
    try:
        assert np.array_equal(mn.montage(photographs), many)
    finally:
        mn.set_threads(0)
