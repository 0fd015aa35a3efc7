// The cameras of every interface of a system, one row each: interface,
// vendor, model, serial number, user-defined name, IP address and access
// status. GUI thread only, but for the scan, which runs on a thread of its own
// so that the window stays responsive while the transports look for cameras.
#pragma once

#include <atomic>
#include <functional>
#include <thread>

#include <QTreeWidget>

#include <camera/KyrCamApi.h>

namespace KyrCameraGui {

class CameraList : public QTreeWidget
{
public:
    CameraList(KyrCam::System *system, QWidget *parent);
    // Waits for a scan still running.
    ~CameraList() override;

    // Lists the cameras the interfaces know now, keeping the selection.
    void refill();
    // Looks for cameras again on every interface, then refills. Ignored while
    // a scan runs.
    void rescan();
    bool scanning() const { return scanning_; }

    // The camera of the current row, or null.
    KyrCam::DeviceInfo *current() const;

    // Called on the GUI thread when a scan starts and when it ends.
    std::function<void(bool scanning)> onScanning;

private:
    void scanned();

    KyrCam::System *const system_;
    std::thread scan_;
    bool scanning_ = false;
};

// The transport's name ("GigE Vision") of an InterfaceType.
QString interfaceTypeName(int32_t type);
// An AccessStatus as the user reads it ("free", "in use by another host", ...).
QString accessText(int32_t status);

} // namespace KyrCameraGui
