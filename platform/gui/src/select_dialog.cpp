#include "dialogs_private.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "camera_list_private.h"

namespace KyrCameraGui {

SelectDialog::SelectDialog(KyrCam::System *system, const QString &title, bool rescan)
    : list_(new CameraList(system, this))
    , rescan_(new QPushButton(QStringLiteral("&Rescan"), this))
    , select_(new QPushButton(QStringLiteral("&Select"), this))
    , status_(new QLabel(this))
{
    setWindowTitle(title);
    auto *cancel = new QPushButton(QStringLiteral("Cancel"), this);
    select_->setDefault(true);
    rescan_->setAutoDefault(false);
    cancel->setAutoDefault(false);

    auto *buttons = new QHBoxLayout;
    buttons->addWidget(status_, 1);
    buttons->addWidget(rescan_);
    buttons->addWidget(select_);
    buttons->addWidget(cancel);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(list_, 1);
    layout->addLayout(buttons);
    resize(860, 320);

    list_->onScanning = [this](bool scanning) {
        rescan_->setEnabled(!scanning);
        status_->setText(scanning ? QStringLiteral("Looking for cameras\u2026")
                                  : QStringLiteral("Cameras found: %1").arg(list_->topLevelItemCount()));
    };
    connect(rescan_, &QPushButton::clicked, this, [this] { list_->rescan(); });
    connect(select_, &QPushButton::clicked, this, [this] { choose(); });
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    // Enter on a row and a double click both choose it.
    connect(list_, &QTreeWidget::itemActivated, this, [this] { choose(); });

    list_->refill();
    list_->onScanning(false);
    if (rescan)
        list_->rescan();
    list_->setFocus();
}

void SelectDialog::choose()
{
    chosen_ = list_->current();
    if (chosen_)
        accept();
    else
        status_->setText(QStringLiteral("No camera chosen."));
}

} // namespace KyrCameraGui
