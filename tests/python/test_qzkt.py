"""The qzkt Python module against the C library it wraps and the qzkt tool: the same frame
bytes as `qzkt encode --raw` for every block kind, the same pictures as `qzkt decode`, both
pixel orders, frame info, and errors carrying the library's result and problem."""

import os
import subprocess

import numpy as np
import pytest

import qzkt

TOOL = os.environ.get("QZKT_TOOL", "qzkt")
WIDTH, HEIGHT, FRAMES = 37, 21, 3  # partial blocks at the right and bottom


def pictures():
    """Deterministic ARGB pictures with gradients, edges and varied alpha."""
    y, x = np.mgrid[0:HEIGHT, 0:WIDTH]
    frames = []
    for n in range(FRAMES):
        picture = np.empty((HEIGHT, WIDTH, 4), np.uint8)
        picture[:, :, 0] = (x * 7 + n * 40) % 256
        picture[:, :, 1] = (x * 255 // WIDTH + n * 10) % 256
        picture[:, :, 2] = (y * 255 // HEIGHT) % 256
        picture[:, :, 3] = ((x // 5 + y // 3 + n) % 2) * 200 + 30
        frames.append(picture)
    return frames


KINDS = {  # tool options, Settings, the frames' block kind
    "dxt24": ([], qzkt.Settings(), "DXT24"),
    "dxt24-nolzf": (["--no-lzf"], qzkt.Settings(no_lzf=1), "DXT24"),
    "dxt1": (["--dxt1"], qzkt.Settings(dxt24=0), "DXT1"),
    "dxt5": (["--alpha"], qzkt.Settings(alpha=1), "DXT5"),
}


def tool_frames(tmp_path, options):
    """The tool's movie of the pictures, and its samples back to back."""
    raw = tmp_path / "in.argb"
    raw.write_bytes(b"".join(p.tobytes() for p in pictures()))
    movie = tmp_path / "movie.mov"
    subprocess.run([TOOL, "encode", "--quiet", "--prefs-dir", str(tmp_path), "--jobs", "1", *options,
                    "--raw", f"{WIDTH}x{HEIGHT}", str(raw), str(movie)], check=True)
    samples = subprocess.run(["ffmpeg", "-v", "error", "-i", str(movie), "-map", "0:v", "-c", "copy", "-f", "data",
                              "-"], check=True, capture_output=True).stdout
    return movie, samples


def test_version_is_the_librarys():
    assert qzkt.version() == os.environ.get("QZKT_EXPECTED_VERSION", qzkt.version())
    assert os.path.exists(qzkt.library_path) or "/" not in qzkt.library_path


@pytest.mark.parametrize("kind", sorted(KINDS))
def test_frames_and_pictures_are_the_tools(tmp_path, kind):
    options, settings, blocks = KINDS[kind]
    movie, samples = tool_frames(tmp_path, options)
    with qzkt.Encoder(WIDTH, HEIGHT, settings) as encoder:
        assert encoder.settings.alpha == settings.alpha
        frames = [encoder.encode(p) for p in pictures()]
    assert b"".join(frames) == samples

    decoded = tmp_path / "decoded.argb"
    subprocess.run([TOOL, "decode", "--quiet", str(movie), str(decoded)], check=True)
    with qzkt.Decoder(WIDTH, HEIGHT) as decoder:
        ours = b"".join(decoder.decode(f).tobytes() for f in frames)
        if blocks != "DXT24":
            assert decoder.s3tc_path in ("cpu", "opengl")
    assert ours == decoded.read_bytes()

    info = qzkt.frame_info(frames[0], WIDTH, HEIGHT)
    assert info["intact"] and info["blocks"] == blocks and info["header_size"] == 28
    assert info["packing"] == ("raw" if settings.no_lzf else "LZF")


def test_rgba_order_is_the_same_frame_and_picture():
    picture = pictures()[1]
    rgba = picture[:, :, [1, 2, 3, 0]]
    with qzkt.Encoder(WIDTH, HEIGHT, qzkt.Settings(alpha=1)) as encoder:
        frame = encoder.encode(picture)
        assert encoder.encode(rgba, order="rgba") == frame
    with qzkt.Decoder(WIDTH, HEIGHT) as decoder:
        argb = decoder.decode(frame)
        assert np.array_equal(decoder.decode(frame, order="rgba"), argb[:, :, [1, 2, 3, 0]])
        out = np.zeros_like(argb)
        assert decoder.decode(frame, out=out) is out and np.array_equal(out, argb)


def test_errors_carry_the_result_and_the_problem():
    with qzkt.Decoder(WIDTH, HEIGHT) as decoder:
        with pytest.raises(qzkt.QZKTError) as damaged:
            decoder.decode(b"\x1c\x00\x00\x00" + b"\x01" * 30)
        assert damaged.value.result == "DAMAGED_FRAME" and damaged.value.problem
        with pytest.raises(qzkt.QZKTError) as empty:
            decoder.decode(b"")
        assert empty.value.result == "DAMAGED_FRAME"
    with pytest.raises(qzkt.QZKTError) as bad:
        qzkt.Encoder(0, HEIGHT)
    assert bad.value.result == "BAD_ARGUMENTS"
    with qzkt.Encoder(WIDTH, HEIGHT, qzkt.default_settings()) as encoder:
        with pytest.raises(ValueError):
            encoder.encode(np.zeros((HEIGHT, WIDTH, 3), np.uint8))
        with pytest.raises(ValueError):
            encoder.encode(np.zeros((HEIGHT, WIDTH, 4), np.float32))
    with pytest.raises(qzkt.QZKTError):
        qzkt.frame_info(b"short", WIDTH, HEIGHT)
    with pytest.raises(ValueError):
        qzkt.Decoder(WIDTH, HEIGHT, renderer="gpu")


def test_settings():
    assert qzkt.default_settings() == qzkt.Settings(alpha=0, dxt24=1, no_lzf=0, thread_setting=2)
    assert isinstance(qzkt.read_settings(), qzkt.Settings)
