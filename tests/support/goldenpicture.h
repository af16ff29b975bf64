// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QImage>
#include <QtTest>
#include <algorithm>
#include <cstdlib>

/// Pixels that differ by more than a shade; all for another size.
inline int differentPixels(const QImage& a, const QImage& b) {
    if (a.size() != b.size())
        return a.width() * a.height();
    int count = 0;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            const QRgb p = a.pixel(x, y);
            const QRgb q = b.pixel(x, y);
            const int far = std::max({std::abs(qRed(p) - qRed(q)), std::abs(qGreen(p) - qGreen(q)),
                                      std::abs(qBlue(p) - qBlue(q))});
            count += far > 40 ? 1 : 0;
        }
    }
    return count;
}

/// Compares a picture (`Format_RGB32`) with the one that was looked at and kept, in `folder`, under the name
/// of the data row; BIVISTA_NEW_PICTURES=folder writes a new one there instead, to be looked at.
/// `hasLetters`: not compared on Windows, as the kept pictures have the letters of a font and a renderer that
/// are not there.
inline void compareWithGolden(const QImage& picture, const QString& folder, bool hasLetters = true) {
    const QString name =
        QString::fromLatin1(QTest::currentDataTag()).replace(QLatin1Char(' '), QLatin1Char('-')) +
        QStringLiteral(".png");
    if (qEnvironmentVariableIsSet("BIVISTA_NEW_PICTURES")) {
        QVERIFY(picture.save(qEnvironmentVariable("BIVISTA_NEW_PICTURES") + QLatin1Char('/') + name));
        return;
    }
#ifdef Q_OS_WIN
    if (hasLetters)
        QSKIP("other letters");
#else
    Q_UNUSED(hasLetters)
#endif
    const QImage golden(folder + QLatin1Char('/') + name);
    QVERIFY2(!golden.isNull(), qPrintable(name));
    const int count = differentPixels(picture, golden.convertToFormat(QImage::Format_RGB32));
    // A few, for the rounding of another processor; the smallest part of a figure has more.
    QVERIFY2(count <= 5, qPrintable(QStringLiteral("%1 pixels differ").arg(count)));
}
