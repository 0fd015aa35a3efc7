#include "param_editors_private.h"

#include <QAbstractItemView>
#include <QCheckBox>
#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTreeWidgetItem>

#include "gui_private.h"
#include "param_tree_private.h"

namespace KyrCameraGui {

namespace {

using namespace KyrGenParam;

// A typed editor over a line of text: integers, floats and strings. Enter
// writes; while the user types, refreshing leaves the text alone.
template <typename Feature>
class LineEditor : public FeatureEditor
{
public:
    LineEditor(Feature *feature, const std::shared_ptr<ArrayAccess> &access, const ReportFn &report, QWidget *parent)
        : FeatureEditor(feature, access, report)
        , feature_(feature)
        , edit_(new QLineEdit(parent))
    {
        setWidget(edit_);
        QObject::connect(edit_, &QLineEdit::returnPressed, edit_, [this] {
            // Done typing: what the device holds afterwards replaces the text.
            edit_->setModified(false);
            write(edit_->text().trimmed());
        });
    }

protected:
    bool editing() const override { return edit_->hasFocus() && edit_->isModified(); }
    virtual void write(const QString &text) = 0;

    Feature *const feature_;
    QLineEdit *const edit_;
};

class IntEditor : public LineEditor<Int>
{
public:
    using LineEditor::LineEditor;

protected:
    int32_t loadValue(bool) override
    {
        KyrCamErr err = KyrCam::kOk;
        const int64_t value = feature_->GetValue(&err);
        if (err != KyrCam::kOk)
            return err;
        edit_->setText(QString::number(value));
        KyrCamErr rangeErr = KyrCam::kOk;
        const int64_t min = feature_->GetMin(&rangeErr);
        const int64_t max = feature_->GetMax(&rangeErr);
        const int64_t increment = feature_->GetIncrement(&rangeErr);
        if (rangeErr == KyrCam::kOk)
            edit_->setToolTip(QStringLiteral("From %1 to %2 in steps of %3").arg(min).arg(max).arg(increment));
        return KyrCam::kOk;
    }

    void write(const QString &text) override
    {
        bool number = false;
        const qlonglong value = text.toLongLong(&number);
        if (!number) {
            refuse(QStringLiteral("not an integer"));
            return;
        }
        commit([this, value] { return feature_->SetValue(value); });
    }
};

class FloatEditor : public LineEditor<Float>
{
public:
    FloatEditor(Float *feature, const std::shared_ptr<ArrayAccess> &access, const ReportFn &report, QWidget *parent)
        : LineEditor(feature, access, report, parent)
        , box_(new QWidget(parent))
        , unit_(new QLabel(box_))
    {
        edit_->setParent(box_);
        box_->setFocusProxy(edit_);
        auto *layout = new QHBoxLayout(box_);
        layout->setContentsMargins(0, 0, 0, 0);
        layout->addWidget(edit_, 1);
        layout->addWidget(unit_);
        setWidget(box_);
    }

protected:
    int32_t loadValue(bool) override
    {
        KyrCamErr err = KyrCam::kOk;
        const double value = feature_->GetValue(&err);
        if (err != KyrCam::kOk)
            return err;
        edit_->setText(QString::number(value, 'g', 10));
        KyrCamErr rangeErr = KyrCam::kOk;
        const double min = feature_->GetMin(&rangeErr);
        const double max = feature_->GetMax(&rangeErr);
        const QString unit = fromLibrary(feature_->GetUnit(&rangeErr));
        if (rangeErr == KyrCam::kOk) {
            unit_->setText(unit);
            edit_->setToolTip(QStringLiteral("From %1 to %2 %3").arg(min).arg(max).arg(unit).trimmed());
        }
        return KyrCam::kOk;
    }

    void write(const QString &text) override
    {
        bool number = false;
        const double value = text.toDouble(&number);
        if (!number) {
            refuse(QStringLiteral("not a number"));
            return;
        }
        commit([this, value] { return feature_->SetValue(value); });
    }

private:
    QWidget *const box_;
    QLabel *const unit_;
};

class StringEditor : public LineEditor<String>
{
public:
    StringEditor(String *feature, const std::shared_ptr<ArrayAccess> &access, const ReportFn &report,
                 QWidget *parent)
        : LineEditor(feature, access, report, parent)
    {
        const int32_t longest = feature->GetMaxLength(nullptr);
        if (longest > 0) {
            edit_->setMaxLength(longest);
            edit_->setToolTip(QStringLiteral("At most %1 bytes").arg(longest));
        }
    }

protected:
    int32_t loadValue(bool) override
    {
        KyrCamErr err = KyrCam::kOk;
        const QString value = fromLibrary(feature_->GetValue(&err));
        if (err == KyrCam::kOk)
            edit_->setText(value);
        return err;
    }

    void write(const QString &text) override
    {
        const QByteArray utf8 = text.toUtf8();
        commit([this, utf8] { return feature_->SetValue(utf8.constData()); });
    }
};

class BooleanEditor : public FeatureEditor
{
public:
    BooleanEditor(Boolean *feature, const std::shared_ptr<ArrayAccess> &access, const ReportFn &report,
                  QWidget *parent)
        : FeatureEditor(feature, access, report)
        , feature_(feature)
        , box_(new QCheckBox(parent))
    {
        setWidget(box_);
        QObject::connect(box_, &QCheckBox::clicked, box_,
                         [this](bool checked) { commit([this, checked] { return feature_->SetValue(checked); }); });
    }

protected:
    int32_t loadValue(bool) override
    {
        KyrCamErr err = KyrCam::kOk;
        const bool value = feature_->GetValue(&err);
        if (err == KyrCam::kOk)
            box_->setChecked(value);
        return err;
    }

private:
    Boolean *const feature_;
    QCheckBox *const box_;
};

// The available entries, by display name, with the symbolic name as data.
class EnumEditor : public FeatureEditor
{
public:
    EnumEditor(Enum *feature, const std::shared_ptr<ArrayAccess> &access, const ReportFn &report, QWidget *parent)
        : FeatureEditor(feature, access, report)
        , feature_(feature)
        , combo_(new QComboBox(parent))
    {
        setWidget(combo_);
        QObject::connect(combo_, &QComboBox::activated, combo_, [this](int index) {
            const QByteArray entry = combo_->itemData(index).toString().toUtf8();
            commit([this, entry] { return feature_->SetValueStr(entry.constData()); });
        });
    }

protected:
    bool editing() const override { return combo_->view()->isVisible(); }

    int32_t loadValue(bool) override
    {
        KyrCamErr err = KyrCam::kOk;
        const QString current = fromLibrary(feature_->GetValueStr(&err));
        if (err != KyrCam::kOk)
            return err;
        QStringList names;
        QStringList shown;
        const int64_t count = feature_->GetCount(&err);
        for (int64_t index = 0; err == KyrCam::kOk && index < count; ++index) {
            EnumEntry *entry = feature_->GetEnumEntryByIndex(index);
            if (!entry || !entry->IsAvailable())
                continue;
            KyrCamErr entryErr = KyrCam::kOk;
            const QString name = fromLibrary(entry->GetValueStr(&entryErr));
            if (entryErr != KyrCam::kOk)
                continue;
            names << name;
            const QString display = fromLibrary(entry->GetDisplayName());
            shown << (display.isEmpty() ? name : display);
        }
        if (names != names_) {
            combo_->clear();
            for (int index = 0; index < names.size(); ++index)
                combo_->addItem(shown[index], names[index]);
            names_ = names;
        }
        combo_->setCurrentIndex(combo_->findData(current));
        return err;
    }

private:
    Enum *const feature_;
    QComboBox *const combo_;
    QStringList names_;
};

// Shows "Executing…" and stays disabled until the device says it is done.
class CommandEditor : public FeatureEditor
{
public:
    CommandEditor(Command *feature, const std::shared_ptr<ArrayAccess> &access, const ReportFn &report,
                  QWidget *parent)
        : FeatureEditor(feature, access, report)
        , feature_(feature)
        , button_(new QPushButton(QStringLiteral("Execute"), parent))
    {
        setWidget(button_);
        QObject::connect(button_, &QPushButton::clicked, button_,
                         [this] { commit([this] { return feature_->Execute(); }); });
    }

protected:
    int32_t loadValue(bool writable) override
    {
        KyrCamErr err = KyrCam::kOk;
        const bool done = feature_->IsDone(&err);
        if (err != KyrCam::kOk)
            return err;
        button_->setText(done ? QStringLiteral("Execute") : QStringLiteral("Executing\u2026"));
        button_->setEnabled(writable && done);
        return KyrCam::kOk;
    }

private:
    Command *const feature_;
    QPushButton *const button_;
};

} // namespace

FeatureEditor::FeatureEditor(KyrGenParam::Param *param, std::shared_ptr<ArrayAccess> access, ReportFn report)
    : param_(param)
    , access_(std::move(access))
    , report_(std::move(report))
    , name_(fromLibrary(param->GetName()))
    , visibility_(param->GetVisibility())
{
}

bool FeatureEditor::load()
{
    int32_t code = KyrCam::kOk;
    const bool present = access_->with([&](KyrGenParam::Array *) {
        const bool available = param_->IsAvailable();
        const bool writable = available && param_->IsWritable();
        widget_->setEnabled(writable);
        item_->setDisabled(!available);
        if (available && param_->IsReadable() && !editing())
            code = loadValue(writable);
    });
    if (present && code != KyrCam::kOk)
        report_(this, code, QString(), false);
    return present;
}

void FeatureEditor::commit(const std::function<int32_t()> &write)
{
    int32_t code = KyrCam::kOk;
    if (!access_->with([&](KyrGenParam::Array *) { code = write(); }))
        return;
    report_(this, code, QString(), true);
    load();
}

void FeatureEditor::refuse(const QString &why)
{
    report_(this, KyrCam::kErrInvalidValue, why, true);
    load();
}

std::unique_ptr<FeatureEditor> makeEditor(KyrGenParam::Param *param, const std::shared_ptr<ArrayAccess> &access,
                                          const ReportFn &report, QWidget *parent)
{
    switch (param->GetType()) {
    case ParamInt:
        if (auto *feature = dynamic_cast<Int *>(param))
            return std::make_unique<IntEditor>(feature, access, report, parent);
        break;
    case ParamFloat:
        if (auto *feature = dynamic_cast<Float *>(param))
            return std::make_unique<FloatEditor>(feature, access, report, parent);
        break;
    case ParamString:
        if (auto *feature = dynamic_cast<String *>(param))
            return std::make_unique<StringEditor>(feature, access, report, parent);
        break;
    case ParamBoolean:
        if (auto *feature = dynamic_cast<Boolean *>(param))
            return std::make_unique<BooleanEditor>(feature, access, report, parent);
        break;
    case ParamEnum:
        if (auto *feature = dynamic_cast<Enum *>(param))
            return std::make_unique<EnumEditor>(feature, access, report, parent);
        break;
    case ParamCommand:
        if (auto *feature = dynamic_cast<Command *>(param))
            return std::make_unique<CommandEditor>(feature, access, report, parent);
        break;
    default:
        break;
    }
    return nullptr;
}

} // namespace KyrCameraGui
