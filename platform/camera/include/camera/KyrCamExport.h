// Symbol export of the camera library: it is built with hidden visibility and
// exports only what carries KYRCAM_API.
#pragma once

#define KYRCAM_API __attribute__((visibility("default")))
