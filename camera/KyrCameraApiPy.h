// The plain module class: registers every wrapper type and the module
// functions, and keeps the module's last error.
#pragma once

#include <CXX/Extensions.hxx>

#include <string>

#include <camera/KyrCamErr.h>
#include <image/KyrBayer.h>
#include <image/KyrImage.h>
#include <image/KyrImageConverter.h>
#include <image/KyrImageSerializer.h>
#include <image/KyrImageUnpacker.h>

#include "MethodTable.h"

namespace KyrCamPy {

class PyBuffer;

class KyrCameraApiPy : public Py::ExtensionModule<KyrCameraApiPy>
{
public:
    KyrCameraApiPy();
    ~KyrCameraApiPy() override;

    // Registered as pointers to these virtual members, so a call reaches the
    // most-derived override. Here they answer a plain system object, and None
    // for the display and dialog functions: a module without GUI.
    virtual Py::Object factory_PyKyrSystem();
    virtual Py::Object PyCreateDisplay(const Py::Tuple &args);
    virtual Py::Object PyResetDisplay();
    virtual Py::Object PyShowImageOnDisplay(const Py::Tuple &args);
    virtual Py::Object PyCreateGenParamTreeViewForArray(const Py::Tuple &args);
    virtual Py::Object PyDestroyGenParamTreeView(const Py::Tuple &args);
    virtual Py::Object PyActionCamera(const Py::Tuple &args);

    // A device for the PyDeviceInfo given, or for the library's choice.
    Py::Object PyKyrCreateDevice(const Py::Tuple &args);
    Py::Object GetLastError();
    Py::Object ErrorCodeToString(const Py::Tuple &args);

    // Still images and movies from a PyBuffer's frame (ImageSaving.cpp).
    Py::Object PySaveImage(const Py::Tuple &args);
    Py::Object PyStartMovieRecord(const Py::Tuple &args);
    Py::Object PySaveMovieFrame(const Py::Tuple &args);
    Py::Object PyFinishRecord();
    Py::Object PyGetVideoCompressors();

protected:
    bool resetDisplay_ = true;
    // The image components, made on first use and kept for the module's life.
    KyrImageSerializer *serializer_ = nullptr;
    KyrBayer *bayer_ = nullptr;
    KyrImageUnpacker *unpacker_ = nullptr;
    KyrImageConverter *converter_ = nullptr;
    // The running movie's working images: what every frame becomes before it
    // is written, and where packed frames are unpacked first.
    KyrImage *movieImage_ = nullptr;
    KyrImage *unpackImage_ = nullptr;
    KyrCamErr lastError_ = KyrCam::kOk;

private:
    // Registers a method of wrapper type T with PyCXX and in T's MethodTable.
    template <typename T, Py::Object (T::*Method)()>
    static void addNoArgs(const char *name)
    {
        T::add_noargs_method(name, Method, "");
        MethodTable<T>::template addNoArgs<Method>(name);
    }
    template <typename T, Py::Object (T::*Method)(const Py::Tuple &)>
    static void addVarArgs(const char *name)
    {
        T::add_varargs_method(name, Method, "");
        MethodTable<T>::template addVarArgs<Method>(name);
    }

    // The PyBuffer of a save or record call's first argument; null after the
    // missing argument or wrong type was reported.
    PyBuffer *bufferArgument(const Py::Tuple &args, Py_ssize_t needed);
    // The buffer's frame; null after "Invalid kyrImage buffer" (no native
    // buffer) or `noImage` (no image description) was reported.
    KyrImage *frameOf(const PyBuffer &buffer, const char *noImage);
    // The components, made on first use.
    KyrImageConverter *converter();
    KyrBayer *bayer();
    // Still saving of monochrome frames in 16-bit containers, and of Bayer
    // frames; see ImageSaving.cpp.
    bool saveMono16(KyrImage *image, const std::string &fileName);
    bool saveBayer(KyrImage *image, const std::string &fileName);
    // Unpacks a packed frame into a new image of `unpackedType`; null after a
    // reported failure.
    KyrImage *unpackStill(KyrImage *frame, uint32_t unpackedType);
    // Makes the unpacker for a movie frame, with its parameters from `frame`;
    // false after a reported failure.
    bool ensureMovieUnpacker(const KyrImage &frame);
    // Deletes the image components, then the working images.
    void releaseImageComponents();
};

} // namespace KyrCamPy
