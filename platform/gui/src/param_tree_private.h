// The parameter tree window: the category tree of a parameter array with an
// editor per feature. GUI thread only, but for ArrayAccess.
#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include <QWidget>

#include <camera/KyrGenParam.h>

class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QTimer;
class QTreeWidget;
class QTreeWidgetItem;

namespace KyrCameraGui {

// The array a window reads, shared with the view handle that empties it. The
// lock is held across every feature call, so forgetting the array waits for
// a call in flight: once forget() returns the array is never reached again,
// whatever the GUI thread is doing. Any thread.
class ArrayAccess
{
public:
    explicit ArrayAccess(KyrGenParam::Array *array)
        : array_(array)
    {
    }

    // Runs `work(array)` and answers true, or answers false once the array is
    // forgotten.
    template <typename Work>
    bool with(Work work)
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (!array_)
            return false;
        work(array_);
        return true;
    }

    void forget()
    {
        std::lock_guard<std::mutex> lock(mutex_);
        array_ = nullptr;
    }

private:
    std::mutex mutex_;
    KyrGenParam::Array *array_;
};

class FeatureEditor;

class ParamTreeWindow : public QWidget
{
public:
    ParamTreeWindow(std::shared_ptr<ArrayAccess> access, const QString &title);
    ~ParamTreeWindow() override;

    // Shows that the features are gone (the array was forgotten).
    void showCleared();

protected:
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    void build(KyrGenParam::Array *array);
    void addCategory(QTreeWidgetItem *parent, KyrGenParam::Category *category, int depth);
    void addFeature(QTreeWidgetItem *parent, KyrGenParam::Param *param);
    void refresh();
    void applyFilters();
    // Moves the focus to the one editor the name filter leaves, if one.
    void jumpToMatch();
    // What a feature call answered: a refused write inline on its row, a
    // device that stopped answering in the status line (refreshing stops).
    void report(FeatureEditor *editor, int32_t code, const QString &why, bool write);
    // The status line under the tree; failures in red.
    void showStatus(const QString &text, bool failure);

    std::shared_ptr<ArrayAccess> access_;
    QComboBox *visibility_;
    QLineEdit *filter_;
    QTreeWidget *tree_;
    QLabel *status_;
    QPushButton *resume_;
    QTimer *refresh_;
    std::vector<std::unique_ptr<FeatureEditor>> editors_;
    int categories_ = 0;
};

} // namespace KyrCameraGui
