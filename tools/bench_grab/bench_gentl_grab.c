/* The GenTL benchmark's peer: a plain C consumer of a GenTL producer. It
 * opens the first device of the interface named on the command line, sets
 * the width and height through the remote port (the big-endian registers of
 * Aravis's fake camera, as the test producer uses), grabs `frames` frames through
 * EVENT_NEW_BUFFER and, with "copy", copies each frame into a kept buffer.
 * Prints one JSON line: frames, fps, cpu_per_frame (this process's CPU time,
 * all threads, from the first frame on), incomplete.
 *
 * Usage: kyr-bench-gentl-grab PRODUCER INTERFACE WIDTH HEIGHT FRAMES [copy] */
#include <arpa/inet.h>
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include "gentl_api_private.h"

#define BUFFERS 8
#define WAIT_MS 5000
#define REGISTER_WIDTH 0x100
#define REGISTER_HEIGHT 0x104
#define REGISTER_ACQUISITION 0x124

static void *need(void *library, const char *name)
{
    void *symbol = dlsym(library, name);
    if (!symbol) {
        fprintf(stderr, "producer lacks %s\n", name);
        exit(1);
    }
    return symbol;
}

static double seconds(clockid_t clock)
{
    struct timespec now;
    clock_gettime(clock, &now);
    return (double)now.tv_sec + (double)now.tv_nsec * 1e-9;
}

static void check(GC_ERROR code, const char *what)
{
    if (code != GC_ERR_SUCCESS) {
        fprintf(stderr, "%s failed: %d\n", what, code);
        exit(1);
    }
}

int main(int argc, char **argv)
{
    if (argc < 6) {
        fprintf(stderr, "usage: %s PRODUCER INTERFACE WIDTH HEIGHT FRAMES [copy]\n", argv[0]);
        return 2;
    }
    const uint32_t width = (uint32_t)strtoul(argv[3], NULL, 10);
    const uint32_t height = (uint32_t)strtoul(argv[4], NULL, 10);
    const long frames = strtol(argv[5], NULL, 10);
    const int copy = argc > 6 && strcmp(argv[6], "copy") == 0;
    void *library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (!library || frames < 1 || frames > 1000000 || width > 8192 || height > 8192) {
        fprintf(stderr, "cannot load %s or bad arguments\n", argv[1]);
        return 1;
    }
    PGCInitLib initLib = (PGCInitLib)need(library, "GCInitLib");
    PTLOpen tlOpen = (PTLOpen)need(library, "TLOpen");
    PTLOpenInterface openInterface = (PTLOpenInterface)need(library, "TLOpenInterface");
    PIFGetDeviceID deviceId = (PIFGetDeviceID)need(library, "IFGetDeviceID");
    PIFOpenDevice openDevice = (PIFOpenDevice)need(library, "IFOpenDevice");
    PDevGetPort getPort = (PDevGetPort)need(library, "DevGetPort");
    PGCWritePort writePort = (PGCWritePort)need(library, "GCWritePort");
    PDevGetDataStreamID streamId = (PDevGetDataStreamID)need(library, "DevGetDataStreamID");
    PDevOpenDataStream openStream = (PDevOpenDataStream)need(library, "DevOpenDataStream");
    PDSGetInfo streamInfo = (PDSGetInfo)need(library, "DSGetInfo");
    PDSAnnounceBuffer announce = (PDSAnnounceBuffer)need(library, "DSAnnounceBuffer");
    PDSQueueBuffer queue = (PDSQueueBuffer)need(library, "DSQueueBuffer");
    PGCRegisterEvent registerEvent = (PGCRegisterEvent)need(library, "GCRegisterEvent");
    PEventGetData getData = (PEventGetData)need(library, "EventGetData");
    PDSGetBufferInfo bufferInfo = (PDSGetBufferInfo)need(library, "DSGetBufferInfo");
    PDSStartAcquisition start = (PDSStartAcquisition)need(library, "DSStartAcquisition");
    PDSStopAcquisition stop = (PDSStopAcquisition)need(library, "DSStopAcquisition");

    TL_HANDLE tl;
    IF_HANDLE iface;
    DEV_HANDLE device;
    PORT_HANDLE port;
    DS_HANDLE stream;
    EVENT_HANDLE event;
    char id[256];
    size_t size = sizeof id;
    check(initLib(), "GCInitLib");
    check(tlOpen(&tl), "TLOpen");
    check(openInterface(tl, argv[2], &iface), "TLOpenInterface");
    check(deviceId(iface, 0, id, &size), "IFGetDeviceID");
    check(openDevice(iface, id, DEVICE_ACCESS_CONTROL, &device), "IFOpenDevice");
    check(getPort(device, &port), "DevGetPort");
    const uint32_t wireWidth = htonl(width), wireHeight = htonl(height);
    size = 4;
    check(writePort(port, REGISTER_WIDTH, &wireWidth, &size), "width");
    size = 4;
    check(writePort(port, REGISTER_HEIGHT, &wireHeight, &size), "height");
    size = sizeof id;
    check(streamId(device, 0, id, &size), "DevGetDataStreamID");
    check(openStream(device, id, &stream), "DevOpenDataStream");
    size_t payload = 0;
    INFO_DATATYPE type;
    size = sizeof payload;
    check(streamInfo(stream, STREAM_INFO_PAYLOAD_SIZE, &type, &payload, &size), "payload size");
    uint8_t *kept = malloc(payload);
    for (int i = 0; i < BUFFERS; ++i) {
        BUFFER_HANDLE buffer;
        check(announce(stream, malloc(payload), payload, NULL, &buffer), "DSAnnounceBuffer");
        check(queue(stream, buffer), "DSQueueBuffer");
    }
    check(registerEvent(stream, EVENT_NEW_BUFFER, &event), "GCRegisterEvent");
    check(start(stream, ACQ_START_FLAGS_DEFAULT, GENTL_INFINITE), "DSStartAcquisition");
    uint32_t one = htonl(1);
    size = 4;
    check(writePort(port, REGISTER_ACQUISITION, &one, &size), "AcquisitionStart");

    double wall0 = 0, cpu0 = 0;
    long incomplete = 0;
    for (long n = 0; n <= frames; ++n) {
        if (n == 1) {
            wall0 = seconds(CLOCK_MONOTONIC);
            cpu0 = seconds(CLOCK_PROCESS_CPUTIME_ID);
        }
        EVENT_NEW_BUFFER_DATA data;
        size = sizeof data;
        check(getData(event, &data, &size, WAIT_MS), "EventGetData");
        uint8_t flag = 0;
        void *base = NULL;
        size = sizeof flag;
        bufferInfo(stream, data.BufferHandle, BUFFER_INFO_IS_INCOMPLETE, &type, &flag, &size);
        size = sizeof base;
        bufferInfo(stream, data.BufferHandle, BUFFER_INFO_BASE, &type, &base, &size);
        incomplete += n > 0 && flag;
        if (copy)
            memcpy(kept, base, payload);
        check(queue(stream, data.BufferHandle), "DSQueueBuffer");
    }
    const double wall = seconds(CLOCK_MONOTONIC) - wall0;
    const double cpu = seconds(CLOCK_PROCESS_CPUTIME_ID) - cpu0;
    one = 0;
    size = 4;
    writePort(port, REGISTER_ACQUISITION, &one, &size);
    stop(stream, ACQ_STOP_FLAGS_KILL);
    printf("{\"frames\": %ld, \"fps\": %.1f, \"cpu_per_frame\": %.9f, \"incomplete\": %ld}\n", frames,
           (double)frames / wall, cpu / (double)frames, incomplete);
    fflush(stdout);
    /* Leave without closing: the producer's threads end with the process. */
    _exit(0);
}
