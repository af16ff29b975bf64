// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QMap>
#include <QMutex>
#include <QSet>
#include <QSize>
#include <QString>
#include <QStringList>
#include <QVector>
#include <atomic>
#include <functional>
#include <memory>
#include <thread>

/// A thread that calls `turn` until it is stopped.
class Watch {
public:
    Watch() = default;
    virtual ~Watch();
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    /// Ends the thread; every derived class does so before it goes.
    void stop();

protected:
    void begin(const std::function<void()>& turn);
    bool isStopping() const { return stopping; }

private:
    std::atomic<bool> stopping{false};
    std::thread thread;
};

/// A time, ms of nowMs().
struct Interval {
    double begin = 0;
    double end = 0;  ///< 0: not yet over
};

/// Watches setting.ini and the pictures' temporary files in the working folder. Any thread may ask.
class FolderWatch : public Watch {
public:
    FolderWatch(const QString& workingFolder, const QString& pictureFolder);
    ~FolderWatch() override;

    /// How often setting.ini was replaced.
    int settingsWritten() const { return written; }
    int settingsRead() const { return reads; }
    QStringList faults() const;
    /// When pictures were being written.
    QVector<Interval> writing() const;
    int writingNow() const { return openIntervals; }

private:
    void turn();
    void takeEvents();
    void checkSettings();

    const QString folder;
    int descriptor = -1;
    int folderWatch = -1;
    int pictureWatch = -1;
    std::atomic<int> written{0};
    std::atomic<int> reads{0};
    std::atomic<int> openIntervals{0};
    mutable QMutex mutex;
    QStringList faultList;             // guarded
    QVector<Interval> intervals;       // guarded
    QMap<QString, int> intervalsOpen;  // by temporary name
    QSet<QString> known;               // keys that have to stay
};

/// Asks the main window over and over whether it still answers: the window system's own question
/// (_NET_WM_PING), which the program answers from its event loop.
class AnswerWatch : public Watch {
public:
    AnswerWatch(const QString& display, quint32 window);
    ~AnswerWatch() override;

    /// From each question to its answer. The last one is not over if it was never answered.
    QVector<Interval> answers() const;

private:
    void turn();

    struct Connection;
    std::unique_ptr<Connection> connection;
    mutable QMutex mutex;
    QVector<Interval> list;  // guarded
};

/// What a process takes of the machine, once a second.
struct Usage {
    double time = 0;    ///< ms of nowMs()
    double memory = 0;  ///< resident, MB
    int handles = 0;
    int threads = 0;
};

class UsageWatch : public Watch {
public:
    explicit UsageWatch(qint64 process);
    ~UsageWatch() override;
    QVector<Usage> samples() const;

private:
    const QString root;
    mutable QMutex mutex;
    QVector<Usage> list;  // guarded
};

/// Part of an interval, ms, that lies in none of the others.
double outside(const Interval& interval, const QVector<Interval>& others);
