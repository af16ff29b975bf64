// SPDX-License-Identifier: Apache-2.0
#include "control/deliveryqueue.h"

#include <utility>

using Kind = DeliveryQueue::Entry::Kind;
using Lock = std::lock_guard<std::mutex>;

DeliveryQueue::DeliveryQueue(std::function<void()> how) : wake(std::move(how)) {}

void DeliveryQueue::put(QByteArray bytes) {
    const Lock lock(mutex);
    if (isClosed || bytes.isEmpty())
        return;
    if (waiting == kRoom) {
        ++lostCount;
        return;
    }
    if (waiting == 0)
        lostCount = 0;
    ++waiting;
    ++receivedCount;
    add({Kind::Delivery, std::move(bytes), {}});
}

void DeliveryQueue::putLost(const QString& problem) {
    putNews({Kind::Lost, {}, problem});
}

void DeliveryQueue::putBack() {
    putNews({Kind::Back, {}, {}});
}

void DeliveryQueue::putNews(Entry news) {
    const Lock lock(mutex);
    if (isClosed)
        return;
    // A line that comes and goes while nobody looks must not fill the memory.
    if (entries.empty() || entries.back().kind == Kind::Delivery) {
        add(std::move(news));
        return;
    }
    if (news.kind == Kind::Back)
        news.problem = entries.back().problem;
    entries.back() = std::move(news);
}

std::optional<DeliveryQueue::Entry> DeliveryQueue::next() {
    const Lock lock(mutex);
    isTurnUnderWay = false;
    if (entries.empty())
        return {};
    Entry entry = std::move(entries.front());
    entries.pop_front();
    if (entry.kind == Kind::Delivery)
        --waiting;
    if (!entries.empty())
        wakeUp();
    return entry;
}

void DeliveryQueue::passTurn() {
    const Lock lock(mutex);
    isTurnUnderWay = false;
}

std::optional<QByteArray> DeliveryQueue::takeDelivery() {
    const Lock lock(mutex);
    if (entries.empty() || entries.front().kind != Kind::Delivery)
        return {};
    QByteArray bytes = std::move(entries.front().bytes);
    entries.pop_front();
    --waiting;
    return bytes;
}

int DeliveryQueue::nextSize() const {
    const Lock lock(mutex);
    return entries.empty() ? 0 : entries.front().bytes.size();
}

bool DeliveryQueue::isEmpty() const {
    const Lock lock(mutex);
    return entries.empty();
}

void DeliveryQueue::wakeIfWaiting() {
    const Lock lock(mutex);
    if (!entries.empty())
        wakeUp();
}

quint64 DeliveryQueue::received() const {
    const Lock lock(mutex);
    return receivedCount;
}

int DeliveryQueue::lost() const {
    const Lock lock(mutex);
    return lostCount;
}

int DeliveryQueue::close() {
    const Lock lock(mutex);
    isClosed = true;
    entries.clear();
    return std::exchange(waiting, 0);
}

void DeliveryQueue::add(Entry entry) {
    entries.push_back(std::move(entry));
    wakeUp();
}

void DeliveryQueue::wakeUp() {
    if (!std::exchange(isTurnUnderWay, true))
        wake();
}
