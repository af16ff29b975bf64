// SPDX-License-Identifier: Apache-2.0
#include "live/framerate.h"

bool isStale(quint64 now, quint64 timestamp) {
    return now - timestamp > kOldestFrame;
}

bool isLate(quint64 now, quint64 timestamp) {
    return now - timestamp > kLateFrame;
}

float smoothedRate(float rate, int frames) {
    if (rate == 0.0F)
        return static_cast<float>(frames);
    return static_cast<float>(frames * 0.4 + static_cast<double>(rate) * 0.6);
}

QString rateText(const QVector<float>& rates) {
    QString text = QStringLiteral("Camera fps: ( ");
    if (rates.isEmpty())
        text += QStringLiteral("no device");
    for (const float rate : rates)
        text += QString::number(static_cast<double>(rate), 'f', 2) + QLatin1Char(' ');
    return text + QLatin1Char(')');
}
