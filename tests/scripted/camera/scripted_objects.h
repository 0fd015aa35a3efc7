// Scripted objects of the camera library, handed out by name. Each is made on
// first use and lives until the process ends, as the library's own interfaces,
// device infos and parameter arrays do; its answers come from the script under
// keys that start with its name ("cam0.GetModel", "cam0-camera/Width.value").
//
// A scripted device hands out its description and its arrays this way, for
// example with the names its own answers give:
//
//   KyrCam::DeviceInfo *info = Scripted::deviceInfoNamed(answer({ name_ + ".GetInfo" }).value_or(name_));
//   KyrGenParam::Array *camera = Scripted::arrayNamed(name_ + "-camera");
//
// and a test describes them from Python (tests/scripted/kyrscript.py):
//
//   scripted.answers("cam0", GetModel="M1", GetSerialNumber="42")
//   scripted.parameters("cam0-camera", Category("Root", "Width"), Int("Width", 640))
//
// Names hold no '.', '/' or ','. Any thread. The scripted GUI library uses
// these too, so they are exported.
#pragma once

#include <string>

#include <camera/KyrCamApi.h>

#define KYRSCRIPTCAM_API __attribute__((visibility("default")))

namespace Scripted {

KyrCam::Interface *interfaceNamed(const std::string &name);
KYRSCRIPTCAM_API KyrCam::DeviceInfo *deviceInfoNamed(const std::string &name);
KyrGenParam::Array *arrayNamed(const std::string &name);

// The name of a scripted object, for call logs: "system" for the system;
// "foreign" for any other pointer, "null" for null.
KYRSCRIPTCAM_API std::string nameOf(KyrCam::DeviceInfo *info);
KYRSCRIPTCAM_API std::string nameOf(KyrGenParam::Array *array);
KYRSCRIPTCAM_API std::string nameOf(KyrCam::System *system);

} // namespace Scripted
