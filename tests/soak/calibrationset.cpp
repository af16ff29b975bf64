// SPDX-License-Identifier: Apache-2.0
#include "soak/calibrationset.h"

#include <QDir>
#include <QFile>
#include <QMap>
#include <QXmlStreamReader>
#include <cmath>

namespace {

constexpr int kTiles = 4;
constexpr double kCells = 10;        // in the pictures but the first
constexpr double kTolerance = 0.05;  // px; marks are written with six digits

using Matrices = QMap<QString, QVector<double>>;

/// Empty, and `fault`, for what is no whole calibration file.
Matrices readMatrices(const QString& fileName, QString* fault) {
    QFile file(fileName);
    Matrices result;
    if (!file.open(QIODevice::ReadOnly)) {
        *fault = file.errorString();
        return result;
    }
    QXmlStreamReader xml(&file);
    QString matrix;
    while (!xml.atEnd()) {
        xml.readNext();
        if (!xml.isStartElement())
            continue;
        if (xml.attributes().hasAttribute(QStringLiteral("type_id"))) {
            matrix = xml.name().toString();
        } else if (xml.name() == QLatin1String("data")) {
            const auto parts = xml.readElementText().simplified().split(QLatin1Char(' '));
            for (const QString& part : parts)
                result[matrix].append(part.toDouble());
        }
    }
    if (xml.hasError())
        *fault = xml.errorString();
    else if (result.value(QStringLiteral("calibrate")).size() != 9 ||
             result.value(QStringLiteral("corner_src")).size() != 8 ||
             result.value(QStringLiteral("corner_dst")).size() != 8)
        *fault = QStringLiteral("without all its numbers");
    return result;
}

}  // namespace

CalibrationSet readCalibrationSet(const QString& folder, const QVector<QVector<QPointF>>& corners) {
    CalibrationSet set;
    QVector<double> shifts;
    QVector<double> widths;  // of what the corners are mapped to, px
    double firstWidth = 0;   // between the first picture's corners, px
    for (int i = 0; i < kTiles; ++i) {
        const QString name = QStringLiteral("Cal%1.xml").arg(i);
        if (!QFile::exists(QDir(folder).filePath(name)))
            continue;
        ++set.files;
        QString fault;
        const Matrices matrices = readMatrices(QDir(folder).filePath(name), &fault);
        if (!fault.isEmpty()) {
            set.fault = name + QStringLiteral(": ") + fault;
            return set;
        }
        const QVector<double> from = matrices.value(QStringLiteral("corner_src"));
        const QVector<double> to = matrices.value(QStringLiteral("corner_dst"));
        shifts.append(from[0] - corners[i][0].x());
        if (i == 0)
            firstWidth = from[2] - from[0];
        else
            widths.append(to[2] - to[0]);
    }
    if (set.files == 0)
        return set;
    if (set.files < kTiles) {
        set.mixed = QStringLiteral("only %1 files").arg(set.files);
        return set;
    }
    for (const double shift : qAsConst(shifts)) {
        if (std::abs(shift - shifts[0]) > kTolerance * 2)
            set.mixed = QStringLiteral("corners of runs %1 and %2").arg(shifts[0]).arg(shift);
    }
    for (const double width : qAsConst(widths)) {
        if (std::abs(width - widths[0]) > kTolerance)
            set.mixed = QStringLiteral("counts of runs %1 and %2")
                            .arg(kCells * firstWidth / widths[0])
                            .arg(kCells * firstWidth / width);
    }
    return set;
}
