#include "param_tree_private.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTimer>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <camera/KyrCamErr.h>

#include "gui_private.h"
#include "param_editors_private.h"

namespace KyrCameraGui {

namespace {

enum Column { kName, kValue, kMessage };

// Deep enough for any device description; a loop in a broken one ends here.
constexpr int kMaxDepth = 16;
constexpr int kRefreshMs = 500;

// Whether the row is on screen: not filtered out, every category above it open.
bool shown(const QTreeWidgetItem *item)
{
    if (item->isHidden())
        return false;
    for (const QTreeWidgetItem *above = item->parent(); above; above = above->parent()) {
        if (above->isHidden() || !above->isExpanded())
            return false;
    }
    return true;
}

// Hides the categories under `item` that show no feature; true when `item`
// shows one.
bool hideEmptyCategories(QTreeWidgetItem *item)
{
    bool any = false;
    for (int index = 0; index < item->childCount(); ++index) {
        QTreeWidgetItem *child = item->child(index);
        if (child->childCount() > 0 || child->data(kName, Qt::UserRole).toBool()) {
            const bool showsOne = hideEmptyCategories(child);
            child->setHidden(!showsOne);
            any = any || showsOne;
        } else {
            any = any || !child->isHidden();
        }
    }
    return any;
}

QString displayName(KyrGenParam::Param *param)
{
    const QString display = fromLibrary(param->GetDisplayName());
    return display.isEmpty() ? fromLibrary(param->GetName()) : display;
}

QString description(KyrGenParam::Param *param)
{
    const QString text = fromLibrary(param->GetDescription());
    return text.isEmpty() ? fromLibrary(param->GetToolTip()) : text;
}

} // namespace

ParamTreeWindow::ParamTreeWindow(std::shared_ptr<ArrayAccess> access, const QString &title)
    : access_(std::move(access))
    , visibility_(new QComboBox(this))
    , filter_(new QLineEdit(this))
    , tree_(new QTreeWidget(this))
    , status_(new QLabel(this))
    , resume_(new QPushButton(QStringLiteral("Refresh"), this))
    , refresh_(new QTimer(this))
{
    setWindowTitle(title);
    visibility_->addItem(QStringLiteral("Beginner"), int(KyrGenParam::VisBeginner));
    visibility_->addItem(QStringLiteral("Expert"), int(KyrGenParam::VisExpert));
    visibility_->addItem(QStringLiteral("Guru"), int(KyrGenParam::VisGuru));
    filter_->setPlaceholderText(QStringLiteral("Feature name (Enter edits the one found)"));
    filter_->setClearButtonEnabled(true);
    tree_->setColumnCount(3);
    tree_->setHeaderLabels({ QStringLiteral("Feature"), QStringLiteral("Value"), QString() });
    tree_->header()->setSectionResizeMode(kName, QHeaderView::ResizeToContents);
    tree_->setColumnWidth(kValue, 200);
    status_->setWordWrap(true);
    resume_->hide();

    auto *filters = new QHBoxLayout;
    filters->addWidget(new QLabel(QStringLiteral("Visibility"), this));
    filters->addWidget(visibility_);
    filters->addWidget(filter_, 1);
    auto *footer = new QHBoxLayout;
    footer->addWidget(status_, 1);
    footer->addWidget(resume_);
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(filters);
    layout->addWidget(tree_, 1);
    layout->addLayout(footer);
    resize(620, 680);

    connect(visibility_, &QComboBox::currentIndexChanged, this, [this] { applyFilters(); });
    connect(filter_, &QLineEdit::textChanged, this, [this] { applyFilters(); });
    connect(filter_, &QLineEdit::returnPressed, this, [this] { jumpToMatch(); });
    connect(refresh_, &QTimer::timeout, this, [this] { refresh(); });
    connect(tree_, &QTreeWidget::itemExpanded, this, [this] { refresh(); });
    connect(resume_, &QPushButton::clicked, this, [this] {
        resume_->hide();
        showStatus(QString(), false);
        refresh_->start(kRefreshMs);
        refresh();
    });

    access_->with([this](KyrGenParam::Array *array) { build(array); });
    for (int index = 0; index < tree_->topLevelItemCount(); ++index)
        tree_->topLevelItem(index)->setExpanded(true);
    applyFilters();
    refresh();
    filter_->setFocus();
}

ParamTreeWindow::~ParamTreeWindow() = default;

void ParamTreeWindow::build(KyrGenParam::Array *array)
{
    KyrCamErr err = KyrCam::kOk;
    KyrGenParam::Category *root = array->GetRootCategory(&err);
    if (!root) {
        showStatus(QStringLiteral("No feature tree: %1").arg(errorText(err)), true);
        return;
    }
    addCategory(tree_->invisibleRootItem(), root, 0);
    status_->setText(QStringLiteral("%1 features in %2 categories").arg(editors_.size()).arg(categories_));
}

void ParamTreeWindow::addCategory(QTreeWidgetItem *parent, KyrGenParam::Category *category, int depth)
{
    if (depth > kMaxDepth)
        return;
    const int32_t count = category->GetCount();
    for (int32_t index = 0; index < count; ++index) {
        KyrCamErr err = KyrCam::kOk;
        KyrGenParam::Param *param = category->GetParamByIndex(uint32_t(index), &err);
        if (!param)
            continue;
        if (param->GetType() != KyrGenParam::ParamCategory) {
            addFeature(parent, param);
            continue;
        }
        auto *child = dynamic_cast<KyrGenParam::Category *>(param);
        if (!child)
            continue;
        auto *item = new QTreeWidgetItem(parent, { displayName(param) });
        item->setToolTip(kName, description(param));
        item->setData(kName, Qt::UserRole, true);  // a category, even when empty
        item->setFirstColumnSpanned(true);
        ++categories_;
        addCategory(item, child, depth + 1);
    }
}

void ParamTreeWindow::addFeature(QTreeWidgetItem *parent, KyrGenParam::Param *param)
{
    const ReportFn report = [this](FeatureEditor *editor, int32_t code, const QString &why, bool write) {
        this->report(editor, code, why, write);
    };
    std::unique_ptr<FeatureEditor> editor = makeEditor(param, access_, report, tree_);
    if (!editor)
        return;
    auto *item = new QTreeWidgetItem(parent, { displayName(param) });
    item->setToolTip(kName, description(param));
    editor->setItem(item);
    tree_->setItemWidget(item, kValue, editor->widget());
    editors_.push_back(std::move(editor));
}

void ParamTreeWindow::refresh()
{
    for (const std::unique_ptr<FeatureEditor> &editor : editors_) {
        if (!shown(editor->item()))
            continue;
        if (!editor->load()) {
            showCleared();
            return;
        }
        if (!resume_->isHidden())
            return;  // the device stopped answering
    }
}

void ParamTreeWindow::applyFilters()
{
    const int level = visibility_->currentData().toInt();
    const QString text = filter_->text().trimmed();
    for (const std::unique_ptr<FeatureEditor> &editor : editors_) {
        QTreeWidgetItem *item = editor->item();
        const bool visible = editor->visibility() <= level &&
                             (text.isEmpty() || editor->name().contains(text, Qt::CaseInsensitive) ||
                              item->text(kName).contains(text, Qt::CaseInsensitive));
        item->setHidden(!visible);
    }
    hideEmptyCategories(tree_->invisibleRootItem());
    if (!text.isEmpty())
        tree_->expandAll();
    refresh();
}

void ParamTreeWindow::jumpToMatch()
{
    FeatureEditor *match = nullptr;
    for (const std::unique_ptr<FeatureEditor> &editor : editors_) {
        if (editor->item()->isHidden() || !editor->widget()->isEnabled())
            continue;
        if (match)
            return;  // more than one: the user narrows the filter first
        match = editor.get();
    }
    if (!match)
        return;
    tree_->scrollToItem(match->item());
    match->widget()->setFocus(Qt::ShortcutFocusReason);
}

void ParamTreeWindow::report(FeatureEditor *editor, int32_t code, const QString &why, bool write)
{
    QTreeWidgetItem *item = editor->item();
    // A label of its own, so that the row's selection colours leave it red.
    auto *message = static_cast<QLabel *>(tree_->itemWidget(item, kMessage));
    if (code == KyrCam::kOk) {
        if (write && message)
            message->clear();
        return;
    }
    const QString text = why.isEmpty() ? errorText(code) : why;
    if (code == KyrCam::kErrIo || code == KyrCam::kErrTimeout) {
        // A lost device answers every call this way; reading on would keep
        // the GUI thread waiting on each feature in turn.
        refresh_->stop();
        resume_->show();
        showStatus(QStringLiteral("The device does not answer (%1); refreshing stopped.").arg(text), true);
    }
    if (write) {
        if (!message) {
            message = new QLabel(tree_);
            message->setStyleSheet(QStringLiteral("color: #c00000;"));
            tree_->setItemWidget(item, kMessage, message);
        }
        message->setText(text);
        message->setToolTip(text);
        showStatus(QStringLiteral("%1 refused: %2").arg(editor->name(), text), true);
    }
}

void ParamTreeWindow::showStatus(const QString &text, bool failure)
{
    status_->setStyleSheet(failure ? QStringLiteral("color: #c00000;") : QString());
    status_->setText(text);
}

void ParamTreeWindow::showCleared()
{
    refresh_->stop();
    resume_->hide();
    editors_.clear();
    tree_->clear();
    visibility_->setEnabled(false);
    filter_->setEnabled(false);
    showStatus(QStringLiteral("The features are gone: their device was released."), false);
}

void ParamTreeWindow::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    if (resume_->isHidden() && !editors_.empty())
        refresh_->start(kRefreshMs);
}

void ParamTreeWindow::hideEvent(QHideEvent *event)
{
    QWidget::hideEvent(event);
    refresh_->stop();
}

} // namespace KyrCameraGui
