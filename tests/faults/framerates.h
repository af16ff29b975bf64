// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QElapsedTimer>
#include <QTimer>
#include <QVector>

#include "support/mainwindowtest.h"

/// Below this part of its rate a tile is harmed. Rates vary by themselves, and with what else the PC does, by
/// a third and more; a fault that is felt by the others, because it holds up the window's thread or the
/// library, costs most of their frames.
constexpr double kUnharmed = 0.5;

/// How many frames each tile gets, by the window's own count, which is read from the status bar.
class FrameRates {
public:
    /// The window does not take its counts once a second any more.
    explicit FrameRates(WindowUnderTest& subject) : window(subject) {
        const auto timers = window->findChildren<QTimer*>(QString(), Qt::FindDirectChildrenOnly);
        for (QTimer* timer : timers) {
            if (timer->interval() == 1000)
                timer->stop();
        }
    }

    /// Frames per second of each tile in the next `time` ms.
    QVector<double> measure(int time = 600) const {
        window->updateFps();
        const QVector<double> before = shown();
        QElapsedTimer clock;
        clock.start();
        QTest::qWait(time);
        const double seconds = double(clock.nsecsElapsed()) / 1e9;
        window->updateFps();
        QVector<double> rates = shown();
        // What is shown is smoothed: 0.4 of the new count and 0.6 of the old rate.
        for (int i = 0; i < rates.size(); ++i)
            rates[i] = (before[i] == 0.0 ? rates[i] : (rates[i] - 0.6 * before[i]) / 0.4) / seconds;
        return rates;
    }

    /// Measured until they are as wanted, a few seconds long: the last ones.
    template <typename Wanted>
    QVector<double> measureUntil(const Wanted& isWanted) const {
        QVector<double> rates = measure(300);
        for (int tries = 1; tries < 15 && !isWanted(rates); ++tries)
            rates = measure(300);
        return rates;
    }

    static QString text(const QVector<double>& rates) {
        QStringList texts;
        for (const double rate : rates)
            texts.append(QString::number(rate, 'f', 1));
        return texts.join(QLatin1Char(' '));
    }

private:
    /// As in "Camera fps: ( 15.00 14.98 )".
    QVector<double> shown() const {
        QVector<double> rates;
        const QString text = window.rightText().section(QLatin1Char('('), 1).remove(QLatin1Char(')'));
        for (const QString& number : text.split(QLatin1Char(' '), Qt::SkipEmptyParts))
            rates.append(number.toDouble());
        return rates;
    }

    WindowUnderTest& window;
};
