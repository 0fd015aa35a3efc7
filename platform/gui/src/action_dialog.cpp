#include "dialogs_private.h"

#include <QApplication>
#include <QCheckBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRegularExpressionValidator>
#include <QVBoxLayout>

#include "camera_list_private.h"
#include "gui_private.h"
#include "param_tree_private.h"

namespace KyrCameraGui {

namespace {

// Dotted decimal, each field 0..255; "Intermediate" while it is being typed.
QValidator *ipv4Validator(QObject *parent)
{
    static const QString field = QStringLiteral("(25[0-5]|2[0-4][0-9]|1[0-9][0-9]|[1-9]?[0-9])");
    return new QRegularExpressionValidator(
        QRegularExpression(QStringLiteral("^%1(\\.%1){3}$").arg(field)), parent);
}

bool acceptable(const QLineEdit *edit)
{
    return edit->hasAcceptableInput();
}

// A mask is ones then zeros, at least one one.
bool isMask(uint32_t mask)
{
    const uint32_t inverted = ~mask;
    return mask != 0 && (inverted & (inverted + 1)) == 0;
}

// An acceptable field's address in host byte order.
uint32_t toAddress(const QLineEdit *edit)
{
    uint32_t address = 0;
    for (const QString &field : edit->text().split(QLatin1Char('.')))
        address = address << 8 | field.toUInt();
    return address;
}

QString fromAddress(int64_t value)
{
    const auto address = uint32_t(value);
    return QStringLiteral("%1.%2.%3.%4")
        .arg(address >> 24)
        .arg(address >> 16 & 0xFF)
        .arg(address >> 8 & 0xFF)
        .arg(address & 0xFF);
}

// An address field that turns red while what it holds is not an address.
QLineEdit *addressEdit(QWidget *parent)
{
    auto *edit = new QLineEdit(parent);
    edit->setValidator(ipv4Validator(edit));
    edit->setPlaceholderText(QStringLiteral("0.0.0.0"));
    QObject::connect(edit, &QLineEdit::textChanged, edit, [edit] {
        edit->setStyleSheet(edit->text().isEmpty() || edit->hasAcceptableInput()
                                ? QString()
                                : QStringLiteral("QLineEdit { background: #ffd0d0; }"));
    });
    return edit;
}

// Shows a wait cursor while a call to the camera runs on the GUI thread.
class Busy
{
public:
    Busy() { QApplication::setOverrideCursor(Qt::WaitCursor); }
    ~Busy() { QApplication::restoreOverrideCursor(); }
};

} // namespace

class ActionPanel
{
public:
    ActionPanel(KyrCam::System *system, QDialog *dialog);
    ~ActionPanel() { closeDevice(); }

private:
    void showInfo();
    void forceIp();
    void openDevice();
    void closeDevice();
    void applyPersistentIp();
    void applyName();
    void resetDevice();
    void showParameters();
    void updateButtons();
    void say(const QString &text, bool failure);

    QDialog *const dialog_;
    CameraList *list_;
    QLabel *info_;
    QLineEdit *address_, *mask_, *gateway_;
    QPushButton *force_;
    QPushButton *open_;
    QGroupBox *deviceBox_;
    QCheckBox *usePersistent_;
    QLineEdit *persistentAddress_, *persistentMask_, *persistentGateway_;
    QPushButton *applyPersistent_;
    QLineEdit *name_;
    QPushButton *applyName_;
    QPushButton *reset_;
    QPushButton *parameters_;
    QLabel *status_;

    KyrCam::Device *device_ = nullptr;
    KyrGenParam::Array *features_ = nullptr;
    std::shared_ptr<ArrayAccess> treeAccess_;
    std::unique_ptr<ParamTreeWindow> tree_;
};

ActionPanel::ActionPanel(KyrCam::System *system, QDialog *dialog)
    : dialog_(dialog)
    , list_(new CameraList(system, dialog))
    , info_(new QLabel(dialog))
    , address_(addressEdit(dialog))
    , mask_(addressEdit(dialog))
    , gateway_(addressEdit(dialog))
    , force_(new QPushButton(QStringLiteral("&Force IP"), dialog))
    , open_(new QPushButton(QStringLiteral("&Open camera"), dialog))
    , deviceBox_(new QGroupBox(QStringLiteral("Opened camera"), dialog))
    , usePersistent_(new QCheckBox(QStringLiteral("Use this address at start-up"), deviceBox_))
    , persistentAddress_(addressEdit(deviceBox_))
    , persistentMask_(addressEdit(deviceBox_))
    , persistentGateway_(addressEdit(deviceBox_))
    , applyPersistent_(new QPushButton(QStringLiteral("Set persistent IP"), deviceBox_))
    , name_(new QLineEdit(deviceBox_))
    , applyName_(new QPushButton(QStringLiteral("Set name"), deviceBox_))
    , reset_(new QPushButton(QStringLiteral("Reset device"), deviceBox_))
    , parameters_(new QPushButton(QStringLiteral("&Parameters\u2026"), deviceBox_))
    , status_(new QLabel(dialog))
{
    info_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    info_->setAlignment(Qt::AlignTop | Qt::AlignLeft);
    status_->setWordWrap(true);
    auto *rescan = new QPushButton(QStringLiteral("&Rescan"), dialog);
    auto *close = new QPushButton(QStringLiteral("Close"), dialog);
    for (QPushButton *button : { force_, open_, applyPersistent_, applyName_, reset_, parameters_, rescan, close })
        button->setAutoDefault(false);

    auto *temporary = new QGroupBox(QStringLiteral("Temporary IP configuration (until the camera restarts)"), dialog);
    auto *temporaryForm = new QFormLayout(temporary);
    temporaryForm->addRow(QStringLiteral("&Address"), address_);
    temporaryForm->addRow(QStringLiteral("Subnet &mask"), mask_);
    temporaryForm->addRow(QStringLiteral("&Gateway"), gateway_);
    temporaryForm->addRow(QString(), force_);

    auto *deviceForm = new QFormLayout(deviceBox_);
    deviceForm->addRow(usePersistent_);
    deviceForm->addRow(QStringLiteral("Persistent address"), persistentAddress_);
    deviceForm->addRow(QStringLiteral("Persistent mask"), persistentMask_);
    deviceForm->addRow(QStringLiteral("Persistent gateway"), persistentGateway_);
    deviceForm->addRow(QString(), applyPersistent_);
    auto *nameRow = new QHBoxLayout;
    nameRow->addWidget(name_, 1);
    nameRow->addWidget(applyName_);
    deviceForm->addRow(QStringLiteral("User-defined name"), nameRow);
    auto *deviceButtons = new QHBoxLayout;
    deviceButtons->addWidget(parameters_);
    deviceButtons->addWidget(reset_);
    deviceForm->addRow(deviceButtons);

    auto *side = new QVBoxLayout;
    side->addWidget(info_);
    side->addWidget(temporary);
    side->addWidget(open_);
    side->addWidget(deviceBox_);
    side->addStretch(1);
    auto *top = new QHBoxLayout;
    top->addWidget(list_, 3);
    top->addLayout(side, 2);
    auto *bottom = new QHBoxLayout;
    bottom->addWidget(status_, 1);
    bottom->addWidget(rescan);
    bottom->addWidget(close);
    auto *layout = new QVBoxLayout(dialog);
    layout->addLayout(top, 1);
    layout->addLayout(bottom);
    dialog->resize(1180, 560);

    list_->onScanning = [this, rescan](bool scanning) {
        rescan->setEnabled(!scanning);
        if (scanning)
            say(QStringLiteral("Looking for cameras\u2026"), false);
        else
            say(QString(), false);
    };
    QObject::connect(list_, &QTreeWidget::currentItemChanged, dialog, [this] { showInfo(); });
    QObject::connect(rescan, &QPushButton::clicked, dialog, [this] { list_->rescan(); });
    QObject::connect(close, &QPushButton::clicked, dialog, &QDialog::accept);
    QObject::connect(force_, &QPushButton::clicked, dialog, [this] { forceIp(); });
    QObject::connect(open_, &QPushButton::clicked, dialog, [this] { device_ ? closeDevice() : openDevice(); });
    QObject::connect(applyPersistent_, &QPushButton::clicked, dialog, [this] { applyPersistentIp(); });
    QObject::connect(applyName_, &QPushButton::clicked, dialog, [this] { applyName(); });
    QObject::connect(reset_, &QPushButton::clicked, dialog, [this] { resetDevice(); });
    QObject::connect(parameters_, &QPushButton::clicked, dialog, [this] { showParameters(); });
    for (QLineEdit *edit : { address_, mask_, gateway_, persistentAddress_, persistentMask_, persistentGateway_ })
        QObject::connect(edit, &QLineEdit::textChanged, dialog, [this] { updateButtons(); });

    list_->refill();
    showInfo();
    list_->setFocus();
}

void ActionPanel::say(const QString &text, bool failure)
{
    status_->setStyleSheet(failure ? QStringLiteral("color: #b00000;") : QString());
    status_->setText(text);
}

void ActionPanel::showInfo()
{
    KyrCam::DeviceInfo *info = list_->current();
    if (!info) {
        info_->setText(QStringLiteral("No camera found. Rescan looks again."));
        updateButtons();
        return;
    }
    KyrCamErr err = KyrCam::kOk;
    const QString address = fromLibrary(info->GetIPAddress(&err));
    const bool hasIp = err == KyrCam::kOk;
    const QString mask = fromLibrary(info->GetIPMask(&err));
    const QString gateway = fromLibrary(info->GetIPGateway(&err));
    QString text;
    const auto line = [&text](const QString &label, const QString &value) {
        text += QStringLiteral("<b>%1</b>: %2<br>").arg(label, value.toHtmlEscaped());
    };
    line(QStringLiteral("Interface"), fromLibrary(info->GetInterface()->GetDescription()));
    line(QStringLiteral("Vendor"), fromLibrary(info->GetVendor()));
    line(QStringLiteral("Model"), fromLibrary(info->GetModel()));
    line(QStringLiteral("Serial number"), fromLibrary(info->GetSerialNumber()));
    line(QStringLiteral("Version"), fromLibrary(info->GetVersion()));
    line(QStringLiteral("User-defined name"), fromLibrary(info->GetUserDefinedName()));
    if (hasIp) {
        line(QStringLiteral("IP address"), address);
        line(QStringLiteral("Subnet mask"), mask);
        line(QStringLiteral("Gateway"), gateway);
        address_->setText(address);
        mask_->setText(mask);
        gateway_->setText(gateway);
    }
    line(QStringLiteral("Access"), accessText(info->GetAccessStatus()));
    info_->setText(text);
    updateButtons();
}

void ActionPanel::updateButtons()
{
    KyrCam::DeviceInfo *info = list_->current();
    KyrCamErr err = KyrCam::kOk;
    const bool hasIp = info && (info->GetIPAddress(&err), err == KyrCam::kOk);
    force_->setEnabled(hasIp && !device_ && acceptable(address_) && acceptable(mask_) && acceptable(gateway_));
    open_->setEnabled(info != nullptr);
    open_->setText(device_ ? QStringLiteral("Cl&ose camera") : QStringLiteral("&Open camera"));
    list_->setEnabled(!device_);
    deviceBox_->setEnabled(device_ != nullptr);
    applyPersistent_->setEnabled(acceptable(persistentAddress_) && acceptable(persistentMask_) &&
                                 acceptable(persistentGateway_));
}

void ActionPanel::forceIp()
{
    KyrCam::DeviceInfo *info = list_->current();
    if (!info)
        return;
    if (!isMask(toAddress(mask_))) {
        say(QStringLiteral("%1 is not a subnet mask.").arg(mask_->text()), true);
        return;
    }
    KyrCamErr err;
    {
        Busy busy;
        err = info->ForceIP(address_->text().toLatin1().constData(), mask_->text().toLatin1().constData(),
                            gateway_->text().toLatin1().constData());
    }
    if (err != KyrCam::kOk) {
        say(QStringLiteral("Force IP failed: %1").arg(errorText(err)), true);
        return;
    }
    list_->refill();
    showInfo();
    say(QStringLiteral("The camera now answers at %1.").arg(address_->text()), false);
}

void ActionPanel::openDevice()
{
    KyrCam::DeviceInfo *info = list_->current();
    if (!info)
        return;
    KyrCamErr err = KyrCam::kOk;
    {
        Busy busy;
        device_ = KyrCam_CreateDevice(info, KyrCam::kOpenControl, &err);
    }
    if (!device_ || err != KyrCam::kOk) {
        if (device_)
            device_->Release();
        device_ = nullptr;
        say(QStringLiteral("Cannot open the camera: %1").arg(errorText(err)), true);
        updateButtons();
        return;
    }
    features_ = device_->GetCameraParameters(&err);
    // What the camera offers of the persistent configuration and its name.
    const auto readInt = [this](const char *name, QLineEdit *edit) {
        KyrCamErr readErr = KyrCam::kOk;
        const int64_t value = features_ ? features_->GetIntegerValue(name, &readErr) : 0;
        edit->setText(readErr == KyrCam::kOk && features_ ? fromAddress(value) : QString());
        edit->setEnabled(readErr == KyrCam::kOk && features_);
    };
    readInt("GevPersistentIPAddress", persistentAddress_);
    readInt("GevPersistentSubnetMask", persistentMask_);
    readInt("GevPersistentDefaultGateway", persistentGateway_);
    KyrCamErr readErr = KyrCam::kOk;
    const bool persistent =
        features_ && features_->GetBooleanValue("GevCurrentIPConfigurationPersistentIP", &readErr);
    usePersistent_->setChecked(persistent);
    usePersistent_->setEnabled(features_ && readErr == KyrCam::kOk);
    readErr = KyrCam::kOk;
    KyrGenParam::String *name = features_ ? features_->GetString("DeviceUserID", &readErr) : nullptr;
    const bool nameWritable = name && name->IsWritable();
    name_->setText(name ? fromLibrary(name->GetValue(&readErr)) : QString());
    name_->setEnabled(nameWritable);
    applyName_->setEnabled(nameWritable);
    KyrCamErr resetErr = KyrCam::kOk;
    reset_->setEnabled(features_ && features_->GetCommand("DeviceReset", &resetErr));
    parameters_->setEnabled(features_ != nullptr);
    say(QStringLiteral("Camera opened."), false);
    updateButtons();
}

void ActionPanel::closeDevice()
{
    if (!device_)
        return;
    // The tree reads the camera's features: it lets go before they are freed.
    if (treeAccess_)
        treeAccess_->forget();
    tree_.reset();
    treeAccess_.reset();
    features_ = nullptr;
    device_->Release();
    device_ = nullptr;
    if (dialog_->isVisible()) {
        list_->refill();
        showInfo();
    }
}

void ActionPanel::applyPersistentIp()
{
    if (!features_)
        return;
    if (!isMask(toAddress(persistentMask_))) {
        say(QStringLiteral("%1 is not a subnet mask.").arg(persistentMask_->text()), true);
        return;
    }
    struct Setting {
        const char *name;
        int64_t value;
        int64_t before = 0;
    };
    Setting settings[] = { { "GevPersistentIPAddress", toAddress(persistentAddress_) },
                           { "GevPersistentSubnetMask", toAddress(persistentMask_) },
                           { "GevPersistentDefaultGateway", toAddress(persistentGateway_) } };
    KyrCamErr err = KyrCam::kOk;
    for (Setting &setting : settings) {
        setting.before = features_->GetIntegerValue(setting.name, &err);
        if (err != KyrCam::kOk) {
            say(QStringLiteral("Cannot read %1: %2").arg(setting.name, errorText(err)), true);
            return;
        }
    }
    // All three or none: a failed write puts back the ones written before it.
    size_t written = 0;
    for (; written < std::size(settings); ++written) {
        err = features_->SetIntegerValue(settings[written].name, settings[written].value);
        if (err != KyrCam::kOk)
            break;
    }
    if (err == KyrCam::kOk && usePersistent_->isEnabled())
        err = features_->SetBooleanValue("GevCurrentIPConfigurationPersistentIP", usePersistent_->isChecked());
    if (err != KyrCam::kOk) {
        const QString failed = QString::fromLatin1(
            written < std::size(settings) ? settings[written].name : "GevCurrentIPConfigurationPersistentIP");
        for (size_t undo = 0; undo < std::min(written, std::size(settings)); ++undo)
            features_->SetIntegerValue(settings[undo].name, settings[undo].before);
        say(QStringLiteral("%1 refused: %2; nothing changed.").arg(failed, errorText(err)), true);
        return;
    }
    say(QStringLiteral("Persistent IP configuration set; it applies when the camera restarts."), false);
}

void ActionPanel::applyName()
{
    if (!features_)
        return;
    const KyrCamErr err = features_->SetStringValue("DeviceUserID", name_->text().toUtf8().constData());
    if (err != KyrCam::kOk) {
        KyrCamErr readErr = KyrCam::kOk;
        name_->setText(fromLibrary(features_->GetStringValue("DeviceUserID", &readErr)));
        say(QStringLiteral("Name refused: %1").arg(errorText(err)), true);
        return;
    }
    say(QStringLiteral("Name set."), false);
}

void ActionPanel::resetDevice()
{
    if (!features_)
        return;
    const KyrCamErr err = features_->ExecuteCommand("DeviceReset");
    if (err != KyrCam::kOk) {
        say(QStringLiteral("Reset refused: %1").arg(errorText(err)), true);
        return;
    }
    // The camera restarts and drops the connection.
    closeDevice();
    say(QStringLiteral("Reset sent; the camera restarts. Rescan finds it again."), false);
}

void ActionPanel::showParameters()
{
    if (!features_)
        return;
    if (!tree_) {
        treeAccess_ = std::make_shared<ArrayAccess>(features_);
        tree_ = std::make_unique<ParamTreeWindow>(treeAccess_, QStringLiteral("Gen<i>Cam camera parameters"));
    }
    tree_->show();
    tree_->raise();
}

ActionDialog::ActionDialog(KyrCam::System *system, const QString &title)
{
    setWindowTitle(title);
    panel_ = std::make_unique<ActionPanel>(system, this);
}

ActionDialog::~ActionDialog() = default;

} // namespace KyrCameraGui
