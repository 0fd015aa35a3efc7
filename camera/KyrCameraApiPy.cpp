#include "KyrCameraApiPy.h"

#include "Conversion.h"
#include "ErrorReport.h"
#include "Lifetime.h"
#include "PyBuffer.h"
#include "PyDataStream.h"
#include "PyDevice.h"
#include "PyDeviceInfo.h"
#include "PyDeviceInterface.h"
#include "PyKyrSystem.h"
#include "genparam/PyGenParam.h"
#include "genparam/PyGenParamBoolean.h"
#include "genparam/PyGenParamCategory.h"
#include "genparam/PyGenParamCommand.h"
#include "genparam/PyGenParamEnum.h"
#include "genparam/PyGenParamEnumEntry.h"
#include "genparam/PyGenParamFloat.h"
#include "genparam/PyGenParamInt.h"
#include "genparam/PyGenParamNode.h"
#include "genparam/PyGenParamNodeMap.h"
#include "genparam/PyGenParamString.h"
#include "genparam/PyGenParams.h"

namespace KyrCamPy {

KyrCameraApiPy::KyrCameraApiPy()
    : Py::ExtensionModule<KyrCameraApiPy>("KyrCameraApiPy")
{
    using namespace KyrGenParamPy;

    PyKyrSystem::behaviors().name("PyKyrSystem");
    PyKyrSystem::behaviors().doc("documentation for PyKyrSystem class");
    PyKyrSystem::add_noargs_method("GetInterfaceList", &PyKyrSystem::GetInterfaceList, "");
    PyKyrSystem::add_noargs_method("GetDisplayName", &PyKyrSystem::GetDisplayName, "");
    PyKyrSystem::add_noargs_method("GetVersion", &PyKyrSystem::GetVersion, "");
    PyKyrSystem::add_varargs_method("SelectCamera", &PyKyrSystem::SelectCamera, "");
    PyKyrSystem::add_varargs_method("ActionCamera", &PyKyrSystem::ActionCamera, "");
    PyKyrSystem::add_varargs_method("CreateDeviceFromConfig", &PyKyrSystem::CreateDeviceFromConfig, "");
    PyKyrSystem::add_varargs_method("RegisterGenTLProvider", &PyKyrSystem::RegisterGenTLProvider, "");
    PyKyrSystem::add_noargs_method("GetLastError", &PyKyrSystem::GetLastError, "");

    PyDevice::behaviors().name("PyDevice");
    PyDevice::behaviors().doc("documentation for PyDevice class");
    PyDevice::add_noargs_method("GetInfo", &PyDevice::GetInfo, "");
    PyDevice::add_noargs_method("GetDisplayName", &PyDevice::GetDisplayName, "");
    PyDevice::add_noargs_method("GetNumStreams", &PyDevice::GetNumStreams, "");
    PyDevice::add_noargs_method("GetCameraParameters", &PyDevice::GetCameraParameters, "");
    PyDevice::add_noargs_method("Release", &PyDevice::Release, "");
    PyDevice::add_noargs_method("IsValid", &PyDevice::IsValid, "");
    PyDevice::add_varargs_method("ReadMem", &PyDevice::ReadMem, "");
    PyDevice::add_varargs_method("WriteMem", &PyDevice::WriteMem, "");
    PyDevice::add_varargs_method("GetStreamByIndex", &PyDevice::GetStreamByIndex, "");
    PyDevice::add_varargs_method("GetStreamByName", &PyDevice::GetStreamById, "");
    PyDevice::add_varargs_method("SaveConfiguration", &PyDevice::SaveConfiguration, "");
    PyDevice::add_varargs_method("LoadConfiguration", &PyDevice::LoadConfiguration, "");
    PyDevice::add_noargs_method("GetTransportParameters", &PyDevice::GetTransportParameters, "");
    PyDevice::add_varargs_method("RegisterEvent", &PyDevice::RegisterEvent, "");
    PyDevice::add_varargs_method("UnRegisterEvent", &PyDevice::UnRegisterEvent, "");
    PyDevice::add_noargs_method("GetLastError", &PyDevice::GetLastError, "");

    PyDataStream::behaviors().name("PyDataStream");
    PyDataStream::behaviors().supportGetattr();
    addNoArgs<PyDataStream, &PyDataStream::GetBufferSize>("GetBufferSize");
    addNoArgs<PyDataStream, &PyDataStream::GetBufferAlignment>("GetBufferAlignment");
    addNoArgs<PyDataStream, &PyDataStream::GetMinNumBuffers>("GetMinNumBuffers");
    addNoArgs<PyDataStream, &PyDataStream::StartAcquisition>("StartAcquisition");
    addVarArgs<PyDataStream, &PyDataStream::StopAcquisition>("StopAcquisition");
    addVarArgs<PyDataStream, &PyDataStream::CreateBuffer>("CreateBuffer");
    addNoArgs<PyDataStream, &PyDataStream::GetBufferQueueSize>("GetBufferQueueSize");
    addVarArgs<PyDataStream, &PyDataStream::QueueBuffer>("QueueBuffer");
    addVarArgs<PyDataStream, &PyDataStream::GetBuffer>("GetBuffer");
    addVarArgs<PyDataStream, &PyDataStream::FlushBuffers>("FlushBuffers");
    addNoArgs<PyDataStream, &PyDataStream::Release>("Release");
    addVarArgs<PyDataStream, &PyDataStream::RevokeBuffer>("RevokeBuffer");
    addVarArgs<PyDataStream, &PyDataStream::AllocBufferQueue>("AllocBufferQueue");
    addNoArgs<PyDataStream, &PyDataStream::ReleaseBufferQueue>("ReleaseBufferQueue");
    addNoArgs<PyDataStream, &PyDataStream::CancelBuffer>("CancelBuffer");
    addNoArgs<PyDataStream, &PyDataStream::GetLastError>("GetLastError");

    PyGenParamEnum::behaviors().name("PyGenParamEnum");
    PyGenParamEnum::add_noargs_method("GetCount", &PyGenParamEnum::GetCount, "");
    PyGenParamEnum::add_noargs_method("GetValue", &PyGenParamEnum::GetValue, "");
    PyGenParamEnum::add_noargs_method("GetValueStr", &PyGenParamEnum::GetValueStr, "");
    PyGenParamEnum::add_varargs_method("SetValue", &PyGenParamEnum::SetValue, "");
    PyGenParamEnum::add_varargs_method("SetValueStr", &PyGenParamEnum::SetValueStr, "");
    PyGenParamEnum::add_noargs_method("GetType", &PyGenParamEnum::GetType, "");
    PyGenParamEnum::add_varargs_method("GetEnumEntryByIndex", &PyGenParamEnum::GetEnumEntryByIndex, "");

    PyGenParamEnumEntry::behaviors().name("PyGenParamEnumEntry");
    PyGenParamEnumEntry::add_noargs_method("GetValue", &PyGenParamEnumEntry::GetValue, "");
    PyGenParamEnumEntry::add_noargs_method("GetValueStr", &PyGenParamEnumEntry::GetValueStr, "");
    PyGenParamEnumEntry::add_noargs_method("GetType", &PyGenParamEnumEntry::GetType, "");
    PyGenParamEnumEntry::add_noargs_method("IsAvailable", &PyGenParamEnumEntry::IsAvailable, "");

    PyGenParam::init_type();

    PyGenParamBoolean::behaviors().name("PyGenParamBoolean");
    PyGenParamBoolean::add_noargs_method("GetType", &PyGenParamBoolean::GetType, "");
    PyGenParamBoolean::add_noargs_method("GetValue", &PyGenParamBoolean::GetValue, "");
    PyGenParamBoolean::add_varargs_method("SetValue", &PyGenParamBoolean::SetValue, "");
    PyGenParamBoolean::add_noargs_method("IsWritable", &PyGenParamBoolean::IsWritable, "");
    PyGenParamBoolean::add_noargs_method("IsReadable", &PyGenParamBoolean::IsReadable, "");

    PyGenParamInt::behaviors().name("PyGenParamInt");
    PyGenParamInt::add_noargs_method("GetType", &PyGenParamInt::GetType, "");
    PyGenParamInt::add_noargs_method("GetValue", &PyGenParamInt::GetValue, "");
    PyGenParamInt::add_varargs_method("SetValue", &PyGenParamInt::SetValue, "");
    PyGenParamInt::add_noargs_method("IsWritable", &PyGenParamInt::IsWritable, "");
    PyGenParamInt::add_noargs_method("IsReadable", &PyGenParamInt::IsReadable, "");
    PyGenParamInt::add_noargs_method("GetMin", &PyGenParamInt::GetMin, "");
    PyGenParamInt::add_noargs_method("GetMax", &PyGenParamInt::GetMax, "");
    PyGenParamInt::add_noargs_method("GetIncrement", &PyGenParamInt::GetIncrement, "");

    PyGenParamFloat::behaviors().name("PyGenParamFloat");
    PyGenParamFloat::add_noargs_method("GetType", &PyGenParamFloat::GetType, "");
    PyGenParamFloat::add_noargs_method("GetValue", &PyGenParamFloat::GetValue, "");
    PyGenParamFloat::add_varargs_method("SetValue", &PyGenParamFloat::SetValue, "");
    PyGenParamFloat::add_noargs_method("IsWritable", &PyGenParamFloat::IsWritable, "");
    PyGenParamFloat::add_noargs_method("IsReadable", &PyGenParamFloat::IsReadable, "");
    PyGenParamFloat::add_noargs_method("GetMin", &PyGenParamFloat::GetMin, "");
    PyGenParamFloat::add_noargs_method("GetMax", &PyGenParamFloat::GetMax, "");
    PyGenParamFloat::add_noargs_method("GetUnit", &PyGenParamFloat::GetUnit, "");

    PyGenParamCommand::behaviors().name("PyGenParamCommand");
    PyGenParamCommand::add_noargs_method("Execute", &PyGenParamCommand::Execute, "");
    PyGenParamCommand::add_noargs_method("IsDone", &PyGenParamCommand::IsDone, "");

    PyGenParamNodeMap::behaviors().name("PyGenParamNodeMap");

    PyGenParamString::behaviors().name("PyGenParamString");
    PyGenParamString::add_noargs_method("GetType", &PyGenParamString::GetType, "");
    PyGenParamString::add_noargs_method("IsWritable", &PyGenParamString::IsWritable, "");
    PyGenParamString::add_noargs_method("IsReadable", &PyGenParamString::IsReadable, "");
    PyGenParamString::add_noargs_method("GetValue", &PyGenParamString::GetValue, "");
    PyGenParamString::add_noargs_method("GetMaxLength", &PyGenParamString::GetMaxLength, "");
    PyGenParamString::add_varargs_method("SetValue", &PyGenParamString::SetValue, "");

    PyGenParamNode::behaviors().name("PyGenParamNode");
    PyGenParamNode::add_noargs_method("IsFeature", &PyGenParamNode::IsFeature, "");

    PyGenParamCategory::behaviors().name("PyGenParamCategory");
    PyGenParamCategory::add_noargs_method("GetType", &PyGenParamCategory::GetType, "");
    PyGenParamCategory::add_noargs_method("GetCount", &PyGenParamCategory::GetCount, "");
    PyGenParamCategory::add_varargs_method("GetParamByIndex", &PyGenParamCategory::GetParamByIndex, "");

    PyGenParams::behaviors().name("PyGenParams");
    PyGenParams::behaviors().supportGetattr();
    PyGenParams::add_noargs_method("GetCount", &PyGenParams::GetCount, "");
    PyGenParams::add_varargs_method("GetParamByIndex", &PyGenParams::GetParamByIndex, "");
    PyGenParams::add_noargs_method("GetRootCategory", &PyGenParams::GetRootCategory, "");
    PyGenParams::add_varargs_method("GetParam", &PyGenParams::GetParam, "");
    PyGenParams::add_varargs_method("GetBoolean", &PyGenParams::GetBoolean, "");
    PyGenParams::add_varargs_method("GetBooleanValue", &PyGenParams::GetBooleanValue, "");
    PyGenParams::add_varargs_method("SetBooleanValue", &PyGenParams::SetBooleanValue, "");
    PyGenParams::add_varargs_method("GetInt", &PyGenParams::GetInt, "");
    PyGenParams::add_varargs_method("SetIntegerValue", &PyGenParams::SetIntegerValue, "");
    PyGenParams::add_varargs_method("GetIntegerValue", &PyGenParams::GetIntegerValue, "");
    PyGenParams::add_varargs_method("GetFloat", &PyGenParams::GetFloat, "");
    PyGenParams::add_varargs_method("SetFloatValue", &PyGenParams::SetFloatValue, "");
    PyGenParams::add_varargs_method("GetFloatValue", &PyGenParams::GetFloatValue, "");
    PyGenParams::add_varargs_method("GetCommand", &PyGenParams::GetCommand, "");
    PyGenParams::add_varargs_method("ExecuteCommand", &PyGenParams::ExecuteCommand, "");
    PyGenParams::add_varargs_method("IsCommandDone", &PyGenParams::IsCommandDone, "");
    PyGenParams::add_varargs_method("GetString", &PyGenParams::GetString, "");
    PyGenParams::add_varargs_method("GetStringValue", &PyGenParams::GetStringValue, "");
    PyGenParams::add_varargs_method("SetStringValue", &PyGenParams::SetStringValue, "");
    PyGenParams::add_varargs_method("GetEnum", &PyGenParams::GetEnum, "");
    PyGenParams::add_varargs_method("GetEnumValueStr", &PyGenParams::GetEnumValueStr, "");
    PyGenParams::add_varargs_method("GetEnumValue", &PyGenParams::GetEnumValue, "");
    PyGenParams::add_varargs_method("SetEnumValue", &PyGenParams::SetEnumValue, "");
    PyGenParams::add_varargs_method("SetEnumValueStr", &PyGenParams::SetEnumValueStr, "");
    PyGenParams::add_noargs_method("GetNodeMap", &PyGenParams::GetNodeMap, "");
    PyGenParams::add_noargs_method("GetLastError", &PyGenParams::GetLastError, "");

    PyBuffer::behaviors().name("PyBuffer");
    addNoArgs<PyBuffer, &PyBuffer::GetWidth>("GetWidth");
    addNoArgs<PyBuffer, &PyBuffer::GetHeight>("GetHeight");
    addNoArgs<PyBuffer, &PyBuffer::GetBufferPtr>("GetBufferPtr");
    addNoArgs<PyBuffer, &PyBuffer::GetImage>("GetImage");
    addNoArgs<PyBuffer, &PyBuffer::IsIncomplete>("IsIncomplete");
    addNoArgs<PyBuffer, &PyBuffer::GetPixelFormat>("GetPixelFormat");
    addNoArgs<PyBuffer, &PyBuffer::GetFrameID>("GetFrameID");
    addNoArgs<PyBuffer, &PyBuffer::GetXOffset>("GetXOffset");
    addNoArgs<PyBuffer, &PyBuffer::GetYOffset>("GetYOffset");
    addNoArgs<PyBuffer, &PyBuffer::GetXPadding>("GetXPadding");
    addNoArgs<PyBuffer, &PyBuffer::GetYPadding>("GetYPadding");
    addNoArgs<PyBuffer, &PyBuffer::GetTimestamp>("GetTimestamp");

    PyDeviceInterface::behaviors().name("PyDeviceInterface");
    PyDeviceInterface::behaviors().supportGetattr();
    PyDeviceInterface::add_noargs_method("GetDescription", &PyDeviceInterface::GetDescription, "");
    PyDeviceInterface::add_noargs_method("GetFirstDeviceInfo", &PyDeviceInterface::GetFirstDeviceInfo, "");
    PyDeviceInterface::add_varargs_method("ReEnumerateDevices", &PyDeviceInterface::ReEnumerateDevices, "");
    PyDeviceInterface::add_noargs_method("GetDeviceInfoList", &PyDeviceInterface::GetDeviceInfoList, "");
    PyDeviceInterface::add_noargs_method("GetType", &PyDeviceInterface::GetType, "");
    PyDeviceInterface::add_noargs_method("GetLastError", &PyDeviceInterface::GetLastError, "");
    PyDeviceInterface::add_noargs_method("GetParameters", &PyDeviceInterface::GetParameters, "");

    PyDeviceInfo::init_type();

    add_noargs_method("PyKyrSystem", &KyrCameraApiPy::factory_PyKyrSystem, "documentation for PyKyrSystem()");
    add_varargs_method("PyKyrCreateDevice", &KyrCameraApiPy::PyKyrCreateDevice,
                       "documentation for PyKyrCreateDevice()");
    add_varargs_method("PyCreateDisplay", &KyrCameraApiPy::PyCreateDisplay, "");
    add_noargs_method("PyResetDisplay", &KyrCameraApiPy::PyResetDisplay, "");
    add_varargs_method("PyShowImageOnDisplay", &KyrCameraApiPy::PyShowImageOnDisplay, "");
    add_varargs_method("PyCreateGenParamTreeViewForArray", &KyrCameraApiPy::PyCreateGenParamTreeViewForArray, "");
    add_varargs_method("PyDestroyGenParamTreeView", &KyrCameraApiPy::PyDestroyGenParamTreeView, "");
    add_varargs_method("PyActionCamera", &KyrCameraApiPy::PyActionCamera, "");
    add_varargs_method("PySaveImage", &KyrCameraApiPy::PySaveImage, "");
    add_varargs_method("PyStartMovieRecord", &KyrCameraApiPy::PyStartMovieRecord, "");
    add_varargs_method("PySaveMovieFrame", &KyrCameraApiPy::PySaveMovieFrame, "");
    add_noargs_method("PyFinishRecord", &KyrCameraApiPy::PyFinishRecord, "");
    add_noargs_method("PyGetVideoCompressors", &KyrCameraApiPy::PyGetVideoCompressors, "");
    add_noargs_method("GetLastError", &KyrCameraApiPy::GetLastError, "");
    add_varargs_method("ErrorCodeToString", &KyrCameraApiPy::ErrorCodeToString, "");

    initialize("documentation for the KyrCameraApiPy module");
}

KyrCameraApiPy::~KyrCameraApiPy()
{
    releaseImageComponents();
}

Py::Object KyrCameraApiPy::factory_PyKyrSystem()
{
    return Py::asObject(new PyKyrSystem());
}

Py::Object KyrCameraApiPy::PyKyrCreateDevice(const Py::Tuple &args)
{
    KyrCam::DeviceInfo *info = nullptr;
    Lifetime::Ref infoLifetime;
    if (args.length() >= 1) {
        if (!PyDeviceInfo::check(args[0])) {
            reportLine("Wrong DeviceInfo\n");
            return Py::None();
        }
        const auto *wrapper = static_cast<PyDeviceInfo *>(args[0].ptr());
        info = wrapper->cxx_getDevInfo();
        infoLifetime = wrapper->lifetime();
    }
    KyrCamErr err = KyrCam::kOk;
    KyrCam::Device *device = nullptr;
    {
        // Opening talks to the camera; the description it reads from cannot
        // go away meanwhile.
        NativeCall call(infoLifetime);
        device = KyrCam_CreateDevice(info, KyrCam::kOpenControl, &err);
    }
    // A failed creation still gives a device wrapper, an invalid one; the code
    // stays in the module's last error.
    lastError_ = err;
    return Py::asObject(new PyDevice(device));
}

Py::Object KyrCameraApiPy::PyCreateDisplay(const Py::Tuple &)
{
    return Py::None();
}

Py::Object KyrCameraApiPy::PyResetDisplay()
{
    return Py::None();
}

Py::Object KyrCameraApiPy::PyShowImageOnDisplay(const Py::Tuple &)
{
    return Py::None();
}

Py::Object KyrCameraApiPy::PyCreateGenParamTreeViewForArray(const Py::Tuple &)
{
    return Py::None();
}

Py::Object KyrCameraApiPy::PyDestroyGenParamTreeView(const Py::Tuple &)
{
    return Py::None();
}

Py::Object KyrCameraApiPy::PyActionCamera(const Py::Tuple &)
{
    return Py::None();
}

Py::Object KyrCameraApiPy::GetLastError()
{
    return Py::Long(static_cast<long>(lastError_));
}

Py::Object KyrCameraApiPy::ErrorCodeToString(const Py::Tuple &args)
{
    if (args.length() < 1) {
        lastError_ = KyrCam::kErrNotEnoughArguments;
        return Py::None();
    }
    // Codes are 32-bit: a wider value keeps only its low 32 bits.
    const auto code = static_cast<KyrCamErr>(static_cast<uint32_t>(toInt64(args[0])));
    return fromUtf8(GetKyrCamErrString(code));
}

} // namespace KyrCamPy
