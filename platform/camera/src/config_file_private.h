// Configuration files for any node map: the same file format for devices on
// Aravis and devices through GenTL producers. Any thread.
#pragma once

#include <string>

#include <camera/KyrCamApi.h>

namespace KyrCam {

class AravisParamArray;

// Writes the writable features of `camera` under a header naming the device.
// Codes: kErrIo (file not writable), kErrNotAvailable (no node map), the
// GenICam codes of a feature that could not be read.
KyrCamErr saveFeatures(AravisParamArray *camera, const std::string &vendor, const std::string &model,
                       const std::string &serial, const char *path) noexcept;
// Applies such a file when it names the same vendor and model. Codes:
// kErrFileNotFound, kErrFileRead, kErrWrongConfiguration, kErrNotAvailable, the
// GenICam codes of a value that could not be set.
KyrCamErr loadFeatures(AravisParamArray *camera, const std::string &vendor, const std::string &model,
                       const char *path) noexcept;
// Opens the device of a producer with this vendor, model and serial number
// and applies the file (gentl_device.cpp). Codes: kErrNoDevice, those of
// opening and of loadFeatures.
Device *createGenTLDeviceFromConfig(const char *path, const std::string &vendor, const std::string &model,
                                    const std::string &serial, KyrCamErr *err) noexcept;

} // namespace KyrCam
