#include "gentl_worker_private.h"

#include <chrono>

#include "gentl_private.h"

namespace KyrCam {

GenTLWorker::GenTLWorker()
{
    thread_ = std::thread([this] { loop(); });
    std::unique_lock<std::mutex> lock(mutex_);
    wake_.wait(lock, [this] { return started_; });
}

GenTLWorker::~GenTLWorker()
{
    {
        std::lock_guard<std::mutex> lock(mutex_);
        retiring_ = true;
    }
    wake_.notify_all();
    thread_.join();
}

KyrCamErr GenTLWorker::queue(const std::shared_ptr<Job> &job, uint64_t timeoutMs) noexcept
{
    std::unique_lock<std::mutex> lock(mutex_);
    if (retiring_)
        return kErrIo;
    try {
        jobs_.push_back(job);
    } catch (...) {
        return kErrOutOfMemory;
    }
    wake_.notify_all();
    if (!done_.wait_for(lock, std::chrono::milliseconds(timeoutMs), [&] { return job->done; }))
        return kErrTimeout;
    return job->result == GC_ERR_SUCCESS ? kOk : gentlCode(job->result);
}

KyrCamErr GenTLWorker::run(std::function<GC_ERROR()> call, uint64_t timeoutMs) noexcept
{
    std::shared_ptr<Job> job;
    try {
        job = std::make_shared<Job>();
    } catch (...) {
        return kErrOutOfMemory;
    }
    job->call = std::move(call);
    return queue(job, timeoutMs);
}

void GenTLWorker::retire(std::function<void()> last, uint64_t timeoutMs) noexcept
{
    std::shared_ptr<Job> job;
    try {
        job = std::make_shared<Job>();
        job->call = [last = std::move(last)] {
            last();
            return GC_ERR_SUCCESS;
        };
    } catch (...) {
        job.reset();
    }
    std::unique_lock<std::mutex> lock(mutex_);
    if (retiring_)
        return;
    if (job) {
        try {
            jobs_.push_back(job);
        } catch (...) {
            job.reset();
        }
    }
    retiring_ = true;
    wake_.notify_all();
    if (job)
        done_.wait_for(lock, std::chrono::milliseconds(timeoutMs), [&] { return job->done; });
}

bool GenTLWorker::finished() noexcept
{
    std::lock_guard<std::mutex> lock(mutex_);
    return finished_;
}

void GenTLWorker::loop()
{
    std::unique_lock<std::mutex> lock(mutex_);
    started_ = true;
    wake_.notify_all();
    for (;;) {
        wake_.wait(lock, [this] { return retiring_ || !jobs_.empty(); });
        if (jobs_.empty()) {
            finished_ = true;
            return;
        }
        std::shared_ptr<Job> job = std::move(jobs_.front());
        jobs_.pop_front();
        lock.unlock();
        GC_ERROR result = GC_ERR_OUT_OF_MEMORY;
        try {
            result = job->call();
        } catch (...) {
            // Only our own allocations inside a call throw: gentlCall stops
            // a producer's exceptions.
        }
        lock.lock();
        job->result = result;
        job->done = true;
        done_.notify_all();
    }
}

} // namespace KyrCam
