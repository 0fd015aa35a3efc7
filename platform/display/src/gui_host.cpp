// libKyrGuiHost: finds the process's Qt application, or runs one on a thread
// of its own.
#include <display/KyrGuiHost.h>

#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <thread>

#include <pthread.h>
#include <xcb/xcb.h>

#include <QApplication>
#include <QGuiApplication>
#include <QMetaObject>
#include <QThread>

namespace {

// The QApplication of a process that had none, on its own thread. Started
// once with a handshake; shutdown(), or else its destructor at process exit,
// ends the event loop and joins the thread.
class OwnGuiThread
{
public:
    ~OwnGuiThread()
    {
        // Qt ends the process from this very thread when the X server goes
        // away: nothing to stop then, and its global objects may be gone.
        if (thread_.joinable() && std::this_thread::get_id() == thread_.get_id())
            thread_.detach();
        stop();
    }

    // Ends the event loop, and joins the thread unless called from it.
    void stop()
    {
        if (!thread_.joinable())
            return;
        // exit() rather than quit(): Qt 6's quit() first asks the windows to
        // close and may give up; with a display embedded in another client's
        // window the loop never ended and the join hung.
        QMetaObject::invokeMethod(app_, [] { QCoreApplication::exit(0); }, Qt::QueuedConnection);
        if (std::this_thread::get_id() == thread_.get_id())
            thread_.detach();
        else
            thread_.join();
    }

    // True once the application runs; false when it cannot (no X display).
    bool start()
    {
        if (!xDisplayReachable())
            return false;
        std::unique_lock<std::mutex> lock(mutex_);
        thread_ = std::thread([this] { run(); });
        started_.wait(lock, [this] { return state_ != State::Starting; });
        return state_ == State::Running;
    }

private:
    enum class State { Starting, Running, Failed };

    // QApplication ends the process when it cannot open the display, so the
    // display is tried first.
    static bool xDisplayReachable()
    {
        const char *display = std::getenv("DISPLAY");
        if (!display || !*display)
            return false;
        xcb_connection_t *connection = xcb_connect(nullptr, nullptr);
        const bool ok = xcb_connection_has_error(connection) == 0;
        xcb_disconnect(connection);
        return ok;
    }

    // Qt warns when its application is not made on the process's first
    // thread; here that is the design, so that one line is dropped.
    static void filterMessages(QtMsgType type, const QMessageLogContext &context, const QString &message)
    {
        if (message.startsWith(QLatin1String("WARNING: QApplication was not created in the main() thread")))
            return;
        if (previousHandler_)
            previousHandler_(type, context, message);
        else
            std::fprintf(stderr, "%s\n", message.toLocal8Bit().constData());
    }

    void run()
    {
        pthread_setname_np(pthread_self(), "KyrGuiHost");
        // Window ids are X11 ones, so the X11 platform is asked for by name.
        static int argc = 3;
        static char name[] = "kyr-display", option[] = "-platform", platform[] = "xcb";
        static char *argv[] = { name, option, platform, nullptr };
        previousHandler_ = qInstallMessageHandler(filterMessages);
        // The application is never destroyed: at exit, tearing down Qt's
        // widgets from this thread while the process's exit handlers run
        // crashes inside Qt. The event loop ends and the thread is joined;
        // the X server drops the windows with the connection.
        auto *app = new QApplication(argc, argv);
        app->setQuitOnLastWindowClosed(false);
        {
            std::lock_guard<std::mutex> lock(mutex_);
            app_ = app;
            state_ = State::Running;
        }
        started_.notify_all();
        app->exec();
    }

    static inline QtMessageHandler previousHandler_ = nullptr;
    std::mutex mutex_;
    std::condition_variable started_;
    State state_ = State::Starting;
    QApplication *app_ = nullptr;
    std::thread thread_;
};

std::mutex startMutex;
// Set once by shutdown(): no GUI from then on. Guarded by startMutex.
bool shutDown = false;

OwnGuiThread &ownGuiThread()
{
    static OwnGuiThread own;
    return own;
}

// The application whose thread is the GUI thread, or null.
QCoreApplication *guiApplication()
{
    QCoreApplication *app = QCoreApplication::instance();
    return qobject_cast<QGuiApplication *>(app) ? app : nullptr;
}

struct Task {
    enum class State { Pending, Running, Done, Cancelled };
    std::mutex mutex;
    std::condition_variable changed;
    State state = State::Pending;
};

} // namespace

namespace KyrGuiHost {

bool available() noexcept
{
    try {
        std::lock_guard<std::mutex> lock(startMutex);
        if (shutDown)
            return false;
        if (guiApplication())
            return true;
        if (QCoreApplication::instance())
            return false; // a console Qt application: it cannot show windows
        static const bool started = ownGuiThread().start();
        return started && guiApplication();
    } catch (...) {
        return false;
    }
}

void shutdown() noexcept
{
    {
        std::lock_guard<std::mutex> lock(startMutex);
        if (shutDown)
            return;
        shutDown = true;
    }
    // Not under the lock: work on the GUI thread may ask for it meanwhile.
    ownGuiThread().stop();
}

bool onGuiThread() noexcept
{
    QCoreApplication *app = guiApplication();
    return app && QThread::currentThread() == app->thread();
}

bool post(std::function<void()> work) noexcept
{
    if (!available())
        return false;
    try {
        return QMetaObject::invokeMethod(guiApplication(), std::move(work), Qt::QueuedConnection);
    } catch (...) {
        return false;
    }
}

bool runBlocking(const std::function<void()> &work, int timeoutMs) noexcept
{
    if (!available())
        return false;
    if (onGuiThread()) {
        work();
        return true;
    }
    try {
        auto task = std::make_shared<Task>();
        const bool queued = post([task, &work] {
            {
                std::lock_guard<std::mutex> lock(task->mutex);
                if (task->state == Task::State::Cancelled)
                    return; // the caller gave up and `work` is gone
                task->state = Task::State::Running;
            }
            work();
            {
                std::lock_guard<std::mutex> lock(task->mutex);
                task->state = Task::State::Done;
            }
            task->changed.notify_all();
        });
        if (!queued)
            return false;
        std::unique_lock<std::mutex> lock(task->mutex);
        if (!task->changed.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                                    [&] { return task->state != Task::State::Pending; })) {
            task->state = Task::State::Cancelled;
            return false;
        }
        // Started: `work` refers to the caller's frame, so wait for its end.
        task->changed.wait(lock, [&] { return task->state == Task::State::Done; });
        return true;
    } catch (...) {
        return false;
    }
}

} // namespace KyrGuiHost
