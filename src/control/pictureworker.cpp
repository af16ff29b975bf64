// SPDX-License-Identifier: Apache-2.0
#include "control/pictureworker.h"

#include <new>
#include <system_error>
#include <utility>

#include "control/picturefile.h"
#include "platform/crashtrace.h"

PictureWorker::~PictureWorker() {
    {
        const std::lock_guard<std::mutex> lock(mutex);
        isEnding = true;
    }
    changed.notify_all();
    if (thread.joinable())
        thread.join();  // it leaves nothing behind
}

bool PictureWorker::startThread() {
    try {
        if (!thread.joinable())
            thread = std::thread(&PictureWorker::run, this);
    } catch (const std::system_error&) {
        return false;
    }
    return true;
}

bool PictureWorker::add(QImage picture, const QString& fileName, int quality, const Companion& companion) {
    std::list<Job> added;
    try {
        // Whoever has the pixels too may write into them, as tiles do once nobody seems to share them.
        if (!picture.isDetached())
            picture = picture.copy();
        if (picture.isNull() || !startThread())
            return false;
        added.push_back({std::move(picture), fileName, quality, companion, {}, {}});
    } catch (const std::bad_alloc&) {
        return false;
    }
    waitForRoom();
    {
        const std::lock_guard<std::mutex> lock(mutex);
        waiting.splice(waiting.end(), added);
    }
    changed.notify_all();
    return true;
}

void PictureWorker::waitForRoom() {
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait(lock, [this] { return waiting.size() < kMostWaiting; });
}

void PictureWorker::waitForAll() {
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait(lock, [this] { return waiting.empty() && current.empty(); });
}

QVector<PictureWorker::Result> PictureWorker::takeResults() {
    std::list<Job> jobs;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        jobs.swap(done);
    }
    QVector<Result> results;
    for (const Job& job : jobs)
        results.append({job.fileName, job.problem, job.companionProblem});
    return results;
}

void PictureWorker::run() {
    const platform::CrashStack stack;
    std::unique_lock<std::mutex> lock(mutex);
    for (;;) {
        changed.wait(lock, [this] { return isEnding || !waiting.empty(); });
        if (waiting.empty())
            return;
        current.splice(current.end(), waiting, waiting.begin());
        lock.unlock();
        changed.notify_all();  // there is room
        write(current.front());
        lock.lock();
        done.splice(done.end(), current);
        lock.unlock();
        changed.notify_all();
        try {
            emit written();
        } catch (...) {
            // No memory: these results are told with those of the next picture.
        }
        lock.lock();
    }
}

void PictureWorker::write(Job& job) {
    try {
        job.problem = writePicture(job.picture, job.fileName, job.quality);
    } catch (...) {
        // Also what went wrong can be too long for the memory that is left.
        job.problem = QStringLiteral("No memory");
    }
    job.picture = QImage();  // before the next one is taken: they are large
    if (job.problem.isEmpty() && !job.companion.fileName.isEmpty())
        job.companionProblem = writeCompanion(job.companion.fileName, job.companion.content);
}
