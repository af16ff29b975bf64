// SPDX-License-Identifier: Apache-2.0
/// Questions for the camera library that may never be answered: a library may keep everybody out of a camera
/// while a query of that camera is under way, and that query may hang.
#pragma once

#include <QtGlobal>
#include <chrono>
#include <functional>
#include <future>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

/// Has `question` answered on a thread of its own, which nobody waits for: it may outlive whoever asks, so it
/// captures nothing but values. The answer is that of answerWithin(); when there can't be a thread, there is
/// no question under way and no answer either. Any thread.
template <class T>
std::future<T> askAside(std::function<T()> question) {
    std::packaged_task<T()> task(std::move(question));
    std::future<T> answer = task.get_future();
    try {
        std::thread(std::move(task)).detach();
    } catch (const std::system_error& error) {
        qWarning("No thread for a question: %s", error.what());
        return {};
    }
    return answer;
}

/// The answer, once, if it is there within `patience` ms. A question without one is under way as long as it
/// is valid().
template <class T>
std::optional<T> answerWithin(std::future<T>& question, qint64 patience) {
    if (!question.valid() ||
        question.wait_for(std::chrono::milliseconds(patience)) != std::future_status::ready)
        return {};
    return question.get();
}
