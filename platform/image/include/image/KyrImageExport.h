// Symbol export of the image libraries: they are built with hidden visibility
// and export only what carries KYRIMAGE_API.
#pragma once

#define KYRIMAGE_API __attribute__((visibility("default")))
