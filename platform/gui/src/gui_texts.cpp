#include "gui_private.h"

#include <QGuiApplication>
#include <QWidget>
#include <QWindow>

#include <camera/KyrCamErr.h>

namespace KyrCameraGui {

QString errorText(KyrCamErr code)
{
    // The library's texts are ASCII but for one Windows-1252 apostrophe.
    QString text = QString::fromLatin1(GetKyrCamErrString(code));
    text.replace(QChar(0x92), QChar(0x2019));
    return QStringLiteral("%1 (%2)").arg(text).arg(code);
}

QString fromLibrary(const char *text)
{
    return text ? QString::fromUtf8(text) : QString();
}

QString titleText(const wchar_t *title)
{
    return title ? QString::fromWCharArray(title) : QString();
}

void placeOver(QWidget *window, int64_t parent)
{
    if (parent == 0)
        return;
    window->winId();
    QWindow *transientParent = nullptr;
    for (QWindow *own : QGuiApplication::allWindows()) {
        if (own->handle() && own->winId() == WId(parent))
            transientParent = own;
    }
    if (!transientParent) {
        // Another program's window: wrapped only as long as the window lives.
        transientParent = QWindow::fromWinId(WId(parent));
        QObject::connect(window, &QObject::destroyed, transientParent, &QObject::deleteLater);
    }
    if (transientParent && window->windowHandle())
        window->windowHandle()->setTransientParent(transientParent);
}

} // namespace KyrCameraGui
