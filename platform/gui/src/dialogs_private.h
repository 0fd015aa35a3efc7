// The two modal dialogs over a system's cameras. GUI thread only.
#pragma once

#include <memory>

#include <QDialog>

#include <camera/KyrCamApi.h>

class QLabel;
class QPushButton;

namespace KyrCameraGui {

class CameraList;

// Lists every camera; Enter, a double click or Select chooses one, Esc or
// Cancel cancels.
class SelectDialog : public QDialog
{
public:
    SelectDialog(KyrCam::System *system, const QString &title, bool rescan);

    // The camera chosen, once the dialog was accepted; null otherwise.
    KyrCam::DeviceInfo *chosen() const { return chosen_; }

private:
    void choose();

    CameraList *list_;
    QPushButton *rescan_;
    QPushButton *select_;
    QLabel *status_;
    KyrCam::DeviceInfo *chosen_ = nullptr;
};

class ActionPanel;

// What a camera user does before streaming: a camera's information, a
// temporary IP configuration, its persistent IP configuration and name, a
// device reset and its feature tree.
class ActionDialog : public QDialog
{
public:
    ActionDialog(KyrCam::System *system, const QString &title);
    ~ActionDialog() override;

private:
    std::unique_ptr<ActionPanel> panel_;
};

} // namespace KyrCameraGui
