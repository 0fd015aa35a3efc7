// The simulated camera's test pattern: pixel (x, y) of frame f has the value
// x + y + f, cut to the format's bits (mono, Bayer, packed); RGB8 carries
// x + f, y + f and x + y + f. f is the frame's block id. Tests check received
// frames against it.
#pragma once

#include <arv.h>

namespace SimCamera {

// Aravis's fake camera fill callback (ArvFakeCameraFillPattern); `frameNumber`
// points to the uint64_t f of the frame. The fake camera's own frame ids
// start near 65535 on purpose, so the stream's block ids are ours.
void fillPattern(ArvBuffer *buffer, void *frameNumber, guint32 exposureUs, guint32 gain, ArvPixelFormat format);

} // namespace SimCamera
