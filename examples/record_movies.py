#!/usr/bin/env python3
"""Movie recording: records a short movie of the simulated camera with every
compressor PyGetVideoCompressors lists, then counts each file's frames with
ffprobe. The file's extension chooses the container; not every container
takes every compressor, so each is tried in .avi, .mkv, .mov, .mp4 and .webm
until one starts. Prints one line per compressor and the failed ones last;
exits non-zero if any failed.
--private-network runs it in a network namespace of its own (root only)."""

import argparse
import subprocess
import sys
import tempfile
from pathlib import Path

from grab import BUILD, enter_private_network, find_camera, next_frame, simulated_camera, streaming

FRAMES = 10
CONTAINERS = (".avi", ".mkv", ".mov", ".mp4", ".webm")


def frames_in(movie):
    """The number of video frames ffprobe counts in the file, or None."""
    probe = subprocess.run(["ffprobe", "-v", "error", "-count_frames", "-select_streams", "v:0",
                            "-show_entries", "stream=codec_name,nb_read_frames", "-of", "csv=p=0", str(movie)],
                           capture_output=True, text=True)
    fields = probe.stdout.strip().split(",")
    return (fields[0], int(fields[1])) if probe.returncode == 0 and len(fields) == 2 else None


def start(kyr, stream, stem, compressor):
    """Starts a movie in the first container that takes the compressor: its
    path, or None."""
    buffer = None
    while buffer is None:
        buffer = next_frame(stream)
    try:
        for suffix in CONTAINERS:
            movie = stem.with_suffix(suffix)
            if kyr.PyStartMovieRecord(buffer, str(movie), 25.0, compressor):
                return movie
        return None
    finally:
        stream.QueueBuffer(buffer)


def record(kyr, stream, stem, compressor):
    """Records FRAMES frames: (the movie, None), or (None, what failed)."""
    movie = start(kyr, stream, stem, compressor)
    if movie is None:
        return None, f"no container starts (error {kyr.GetLastError()} = {kyr.GetLastError() & 0xFFFFFFFF:#x})"
    recorded = 0
    while recorded < FRAMES:
        buffer = next_frame(stream)
        if buffer is None:
            continue
        saved = kyr.PySaveMovieFrame(buffer)
        stream.QueueBuffer(buffer)
        if not saved:
            kyr.PyFinishRecord()
            return None, f"frame {recorded} (error {kyr.GetLastError() & 0xFFFFFFFF:#x})"
        recorded += 1
    if not kyr.PyFinishRecord():
        return None, f"finish (error {kyr.GetLastError() & 0xFFFFFFFF:#x})"
    return movie, None


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--private-network", action="store_true")
    parser.add_argument("--pixel-format", default="BayerRG8")
    args = parser.parse_args()
    if args.private_network:
        enter_private_network()
    sys.path.insert(0, str(BUILD / "lib"))
    import libKyrCameraGuiApiPy as kyr

    compressors = kyr.PyGetVideoCompressors() or []
    print(f"{len(compressors)} compressors: {' '.join(compressors)}")
    failed = []
    with simulated_camera(), tempfile.TemporaryDirectory() as folder:
        info = find_camera(kyr)
        if info is None:
            sys.exit("the simulated camera was not found")
        device = kyr.PyKyrCreateDevice(info)
        params = device.GetCameraParameters()
        assert params is not None
        params.SetIntegerValue("Width", 320)
        params.SetIntegerValue("Height", 240)
        params.SetEnumValueStr("PixelFormat", args.pixel_format)
        params.SetFloatValue("AcquisitionFrameRate", 200.0)
        with streaming(device) as stream:
            for compressor in compressors:
                movie, problem = record(kyr, stream, Path(folder) / compressor, compressor)
                probed = frames_in(movie) if movie is not None else None
                if movie is not None and probed is None:
                    problem = f"ffprobe cannot read the {movie.suffix} file"
                elif movie is not None and probed is not None and probed[1] != FRAMES:
                    problem = f"{probed[1]} frames in the {movie.suffix} file"
                elif movie is not None and probed is not None:
                    print(f"{compressor:12} ok: {FRAMES} frames in {movie.suffix}, stream {probed[0]}")
                    continue
                print(f"{compressor:12} {problem}")
                if problem:
                    failed.append(compressor)
        device.Release()
    if failed:
        print(f"failed: {' '.join(failed)}")
    return 1 if failed or not compressors else 0


if __name__ == "__main__":
    sys.exit(main())
