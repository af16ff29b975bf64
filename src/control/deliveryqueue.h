// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QString>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>

/// What the reader of a serial line has for the GUI thread, in the order in which it came: deliveries (what
/// arrived together) and news of the line itself. The GUI thread is woken for one entry at a time, so that
/// each has a turn of the event loop of its own.
///
/// All functions may be called from any thread; a mutex guards the entries, for a moment.
class DeliveryQueue {
public:
    /// So many deliveries wait at most.
    static constexpr int kRoom = 1000;

    struct Entry {
        enum class Kind { Delivery, Lost, Back };
        Kind kind = Kind::Delivery;
        QByteArray bytes;  ///< of a delivery, not empty
        QString problem;   ///< why the line is lost; with Back: why it was, if nobody has heard that yet
    };

    /// `wake` makes the GUI thread call next() soon, once for each call. It is called by whoever brings or
    /// takes an entry, under the mutex, and must not call the queue.
    explicit DeliveryQueue(std::function<void()> wake);

    /// Adds a delivery. Where there is no room for it, it is dropped and counted; an empty one is none.
    void put(QByteArray bytes);
    /// The line is lost, or back. Where this is the next news, the older give way to it.
    void putLost(const QString& problem);
    void putBack();

    /// Takes the oldest entry, and wakes again if there are more.
    std::optional<Entry> next();
    /// Leaves the oldest entry where it is: next() is called again when wakeIfWaiting() has woken.
    void passTurn();
    /// Takes the oldest entry if that is a delivery, beside the turns that are under way.
    std::optional<QByteArray> takeDelivery();
    /// Size of that delivery in bytes; 0 where there is none.
    int nextSize() const;
    bool isEmpty() const;
    /// Wakes if there is something and no turn is under way.
    void wakeIfWaiting();
    /// Deliveries that have been taken in.
    quint64 received() const;
    /// Deliveries dropped since the last one that came while nothing waited.
    int lost() const;
    /// Forgets what waits, and returns how many deliveries that were. From the return on nothing is taken in,
    /// and nobody is woken.
    int close();

private:
    void putNews(Entry news);
    void add(Entry entry);
    void wakeUp();

    mutable std::mutex mutex;  // guards the next ones
    const std::function<void()> wake;
    std::deque<Entry> entries;
    int waiting = 0;  // deliveries among them
    quint64 receivedCount = 0;
    int lostCount = 0;
    bool isTurnUnderWay = false;
    bool isClosed = false;
};
