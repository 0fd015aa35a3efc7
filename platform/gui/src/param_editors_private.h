// One editor per feature type, shown in the value column of the tree. GUI
// thread only; every feature call goes through the window's ArrayAccess.
#pragma once

#include <functional>
#include <memory>

#include <QString>

#include <camera/KyrGenParam.h>

class QTreeWidgetItem;
class QWidget;

namespace KyrCameraGui {

class ArrayAccess;
class FeatureEditor;

// What a feature call answered: the editor, the code, a reason of our own
// (empty: the code's text), whether it was a write.
using ReportFn = std::function<void(FeatureEditor *, int32_t, const QString &, bool)>;

class FeatureEditor
{
public:
    FeatureEditor(KyrGenParam::Param *param, std::shared_ptr<ArrayAccess> access, ReportFn report);
    virtual ~FeatureEditor() = default;

    QWidget *widget() const { return widget_; }
    QTreeWidgetItem *item() const { return item_; }
    void setItem(QTreeWidgetItem *item) { item_ = item; }
    const QString &name() const { return name_; }
    int32_t visibility() const { return visibility_; }

    // Reads the value and whether it can be written into the editor, unless
    // the user is editing it. False when the array is gone.
    bool load();

protected:
    // Reads the value into the widget; the code of the read. `writable`:
    // the widget is enabled.
    virtual int32_t loadValue(bool writable) = 0;
    // True while the user changes the value (refreshing leaves it alone).
    virtual bool editing() const { return false; }
    // Writes through `write` (under the access lock), reports its code, and
    // reads the value back: a refused value is replaced by the device's.
    void commit(const std::function<int32_t()> &write);
    // Refuses what the user typed before it reaches the device.
    void refuse(const QString &why);
    void setWidget(QWidget *widget) { widget_ = widget; }

    KyrGenParam::Param *const param_;

private:
    std::shared_ptr<ArrayAccess> access_;
    ReportFn report_;
    QWidget *widget_ = nullptr;
    QTreeWidgetItem *item_ = nullptr;
    QString name_;
    int32_t visibility_;
};

// The editor for `param`'s type, under `parent`; null for a feature of no
// listed type.
std::unique_ptr<FeatureEditor> makeEditor(KyrGenParam::Param *param, const std::shared_ptr<ArrayAccess> &access,
                                          const ReportFn &report, QWidget *parent);

} // namespace KyrCameraGui
