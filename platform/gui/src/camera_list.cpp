#include "camera_list_private.h"

#include <system_error>

#include <QHeaderView>
#include <QMetaObject>

#include "gui_private.h"

namespace KyrCameraGui {

namespace {

enum Column { kInterface, kVendor, kModel, kSerial, kUserName, kAddress, kAccess, kColumns };

// Rows carry their DeviceInfo; the library keeps every one it handed out for
// the life of the process, so the pointer outlives any rescan.
constexpr int kInfoRole = Qt::UserRole + 1;

template <typename Visit>
void forEachInterface(KyrCam::System *system, Visit visit)
{
    KyrCam::InterfaceList *list = system->GetInterfaceList(KyrCam::kInterfaceAll);
    if (!list)
        return;
    for (KyrCam::Interface *interface = list->GetFirst(); interface; interface = list->GetNext())
        visit(interface);
    list->Release();
}

QString addressOf(KyrCam::DeviceInfo *info)
{
    KyrCamErr err = KyrCam::kOk;
    const QString address = fromLibrary(info->GetIPAddress(&err));
    return err == KyrCam::kOk ? address : QString();
}

} // namespace

QString interfaceTypeName(int32_t type)
{
    switch (type) {
    case KyrCam::kInterfaceUsb3Vision:
        return QStringLiteral("USB3 Vision");
    case KyrCam::kInterfaceGigEVision:
        return QStringLiteral("GigE Vision");
    case KyrCam::kInterfaceCameraLink:
        return QStringLiteral("Camera Link");
    case KyrCam::kInterfaceCoaXPress:
        return QStringLiteral("CoaXPress");
    case KyrCam::kInterfaceHdSdi:
        return QStringLiteral("HD-SDI");
    default:
        return QStringLiteral("other");
    }
}

QString accessText(int32_t status)
{
    switch (status) {
    case KyrCam::kAccessReadWrite:
        return QStringLiteral("free");
    case KyrCam::kAccessReadOnly:
        return QStringLiteral("in use by another host (read only)");
    case KyrCam::kAccessNoAccess:
        return QStringLiteral("in use by another host (no access)");
    case KyrCam::kAccessBusy:
        return QStringLiteral("open in this program");
    case KyrCam::kAccessUnreachable:
        return QStringLiteral("other subnet");
    default:
        return QStringLiteral("unknown");
    }
}

CameraList::CameraList(KyrCam::System *system, QWidget *parent)
    : QTreeWidget(parent)
    , system_(system)
{
    setColumnCount(kColumns);
    setHeaderLabels({ QStringLiteral("Interface"), QStringLiteral("Vendor"), QStringLiteral("Model"),
                      QStringLiteral("Serial number"), QStringLiteral("User-defined name"),
                      QStringLiteral("IP address"), QStringLiteral("Access") });
    setRootIsDecorated(false);
    setUniformRowHeights(true);
    setAllColumnsShowFocus(true);
    header()->setSectionResizeMode(QHeaderView::ResizeToContents);
}

CameraList::~CameraList()
{
    if (scan_.joinable())
        scan_.join();
}

void CameraList::refill()
{
    KyrCam::DeviceInfo *selected = current();
    clear();
    QTreeWidgetItem *reselect = nullptr;
    forEachInterface(system_, [&](KyrCam::Interface *interface) {
        KyrCam::DeviceInfoList *infos = interface->GetDeviceInfoList();
        if (!infos)
            return;
        const QString transport = interfaceTypeName(interface->GetType());
        for (KyrCam::DeviceInfo *info = infos->GetFirst(); info; info = infos->GetNext()) {
            auto *row = new QTreeWidgetItem(this);
            row->setText(kInterface, transport);
            row->setToolTip(kInterface, fromLibrary(interface->GetDescription()));
            row->setText(kVendor, fromLibrary(info->GetVendor()));
            row->setText(kModel, fromLibrary(info->GetModel()));
            row->setText(kSerial, fromLibrary(info->GetSerialNumber()));
            row->setText(kUserName, fromLibrary(info->GetUserDefinedName()));
            row->setText(kAddress, addressOf(info));
            row->setText(kAccess, accessText(info->GetAccessStatus()));
            row->setData(kInterface, kInfoRole, QVariant::fromValue<void *>(info));
            if (info == selected)
                reselect = row;
        }
        infos->Release();
    });
    if (!reselect)
        reselect = topLevelItem(0);
    setCurrentItem(reselect);
}

void CameraList::rescan()
{
    if (scanning_)
        return;
    if (scan_.joinable())
        scan_.join();
    scanning_ = true;
    if (onScanning)
        onScanning(true);
    // The list outlives the thread (its destructor joins it); the event
    // posted at the end is dropped if the list is deleted before it arrives.
    try {
        scan_ = std::thread([this] {
            forEachInterface(system_, [](KyrCam::Interface *interface) {
                bool changed = false;
                interface->ReEnumerateDevices(&changed, UINT64_MAX);
            });
            QMetaObject::invokeMethod(this, [this] { scanned(); }, Qt::QueuedConnection);
        });
    } catch (const std::system_error &) {
        // No thread to spare: the list stays as it is.
        scanned();
    }
}

void CameraList::scanned()
{
    scanning_ = false;
    refill();
    if (onScanning)
        onScanning(false);
}

KyrCam::DeviceInfo *CameraList::current() const
{
    const QTreeWidgetItem *row = currentItem();
    return row ? static_cast<KyrCam::DeviceInfo *>(row->data(kInterface, kInfoRole).value<void *>()) : nullptr;
}

} // namespace KyrCameraGui
