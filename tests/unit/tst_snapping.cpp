// SPDX-License-Identifier: Apache-2.0
#include <QElapsedTimer>
#include <QImage>
#include <QtTest>
#include <cmath>
#include <functional>
#include <limits>
#include <random>

#include "measure/snapping.h"

namespace {

using Grey = std::function<double(double x, double y)>;

}  // namespace

Q_DECLARE_METATYPE(Grey)

namespace {

/// A picture of what `grey` says (0 ... 255), each pixel the mean over its square, with sensor noise.
QImage drawn(QSize size, const Grey& grey, double noise = 0.0) {
    constexpr int kFine = 8;
    std::mt19937 random{7};
    std::normal_distribution<double> deviation(0.0, noise > 0.0 ? noise : 1.0);
    QImage picture(size, QImage::Format_Grayscale8);
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x) {
            double sum = 0.0;
            for (int j = 0; j < kFine; ++j) {
                for (int i = 0; i < kFine; ++i)
                    sum += grey(x - 0.5 + (i + 0.5) / kFine, y - 0.5 + (j + 0.5) / kFine);
            }
            const double value = sum / (kFine * kFine) + (noise > 0.0 ? deviation(random) : 0.0);
            picture.scanLine(y)[x] = uchar(std::clamp(std::lround(value), 0L, 255L));
        }
    }
    return picture;
}

/// A place seen from a point of the picture, turned by some degrees.
QPointF turned(double x, double y, QPointF zero, double degrees) {
    const double a = degrees * M_PI / 180;
    const double dx = x - zero.x();
    const double dy = y - zero.y();
    return {std::cos(a) * dx + std::sin(a) * dy, -std::sin(a) * dx + std::cos(a) * dy};
}

Grey chessboard(QPointF zero, double degrees, double cell, double dark = 30, double bright = 220) {
    return [=](double x, double y) {
        const QPointF p = turned(x, y, zero, degrees);
        const auto parity = int(std::floor(p.x() / cell) + std::floor(p.y() / cell));
        return parity % 2 == 0 ? dark : bright;
    };
}

Grey cross(QPointF zero, double degrees, double width, double dark = 40, double bright = 210) {
    return [=](double x, double y) {
        const QPointF p = turned(x, y, zero, degrees);
        return std::abs(p.x()) < width / 2 || std::abs(p.y()) < width / 2 ? dark : bright;
    };
}

Grey square(QPointF corner, double degrees, double side, double dark = 30, double bright = 220) {
    return [=](double x, double y) {
        const QPointF p = turned(x, y, corner, degrees);
        return p.x() > 0 && p.y() > 0 && p.x() < side && p.y() < side ? dark : bright;
    };
}

Grey edge(QPointF zero, double degrees, double dark = 60, double bright = 180) {
    return [=](double x, double y) { return turned(x, y, zero, degrees).x() < 0 ? dark : bright; };
}

Grey flat(double level) {
    return [level](double, double) { return level; };
}

double distance(QPointF a, QPointF b) {
    return std::hypot(a.x() - b.x(), a.y() - b.y());
}

const QSize kSize(100, 90);

}  // namespace

class SnappingTest : public QObject {
    Q_OBJECT
private slots:
    void corners_data() {
        QTest::addColumn<Grey>("grey");
        QTest::addColumn<QPointF>("place");
        QTest::addColumn<double>("noise");
        QTest::addColumn<double>("tolerance");
        // (Drawn in eighths of a px.)
        const QPointF a(47.375, 41.75);
        const QPointF b(52.0, 44.5);
        for (const double degrees : {0.0, 1.2, 17.0, 45.0}) {
            for (const QPointF place : {a, b}) {
                const auto name = [&](const char* what) {
                    return QStringLiteral("%1 at %2, %3 degrees")
                        .arg(QLatin1String(what))
                        .arg(place.x())
                        .arg(degrees)
                        .toLatin1();
                };
                QTest::newRow(name("chessboard")) << chessboard(place, degrees, 25) << place << 0.0 << 0.05;
                QTest::newRow(name("chessboard, noise"))
                    << chessboard(place, degrees, 25) << place << 1.2 << 0.06;
                QTest::newRow(name("small chessboard"))
                    << chessboard(place, degrees, 10) << place << 1.2 << 0.1;
                QTest::newRow(name("faint chessboard, noise"))
                    << chessboard(place, degrees, 25, 100, 130) << place << 1.2 << 0.15;
                for (const double width : {1.0, 2.0, 3.0, 4.0, 5.0})
                    QTest::newRow(name("lines") + ' ' + QByteArray::number(width))
                        << cross(place, degrees, width) << place << 1.2 << 0.1;
                QTest::newRow(name("faint lines, noise"))
                    << cross(place, degrees, 2.5, 150, 190) << place << 1.2 << 0.15;
                QTest::newRow(name("square")) << square(place, degrees, 30) << place << 1.2 << 0.3;
                QTest::newRow(name("bright square"))
                    << square(place, degrees, 30, 255, 0) << place << 0.0 << 0.3;
            }
        }
    }

    void corners() {
        QFETCH(Grey, grey);
        QFETCH(QPointF, place);
        QFETCH(double, noise);
        QFETCH(double, tolerance);
        const QImage picture = drawn(kSize, grey, noise);
        for (const QPointF beside : {QPointF(0, 0), QPointF(2.9, -2.1), QPointF(-3, 3), QPointF(1.3, 2.4)}) {
            const Snap snap = snapIn(picture, place + beside, 7);
            QCOMPARE(snap.kind, SnapKind::Corner);
            QVERIFY2(distance(snap.point, place) < tolerance,
                     qPrintable(QStringLiteral("off by %1 %2")
                                    .arg(snap.point.x() - place.x())
                                    .arg(snap.point.y() - place.y())));
        }
    }

    void edges_data() {
        QTest::addColumn<double>("degrees");
        QTest::addColumn<double>("dark");
        QTest::addColumn<double>("bright");
        for (const double degrees : {0.0, 1.0, 30.0, 45.0, 90.0, 200.0}) {
            QTest::addRow("%g degrees", degrees) << degrees << 60.0 << 180.0;
            QTest::addRow("%g degrees, faint", degrees) << degrees << 100.0 << 120.0;
        }
    }

    /// The foot of the click on the edge, not just any of its places.
    void edges() {
        QFETCH(double, degrees);
        QFETCH(double, dark);
        QFETCH(double, bright);
        const QPointF place(48.3, 44.6);
        const QImage picture = drawn(kSize, edge(place, degrees, dark, bright), 1.2);
        const double a = degrees * M_PI / 180;
        const QPointF normal(std::cos(a), std::sin(a));
        for (const double beside : {-5.5, -2.0, 0.0, 0.4, 3.0, 6.0}) {
            const Snap snap = snapIn(picture, place + beside * normal, 8);
            QCOMPARE(snap.kind, SnapKind::Edge);
            const QPointF off = turned(snap.point.x(), snap.point.y(), place, degrees);
            const double tolerance = bright - dark < 50 ? 0.2 : 0.06;
            QVERIFY2(std::abs(off.x()) < tolerance && std::abs(off.y()) < 1.5,
                     qPrintable(QStringLiteral("%1 across, %2 along").arg(off.x()).arg(off.y())));
        }
    }

    void nearestNotStrongest() {
        // Faint lines' crossing near the click, a black and white chessboard further away.
        const QPointF faint(40.4, 45.2);
        const Grey lines = cross(faint, 3, 2, 150, 190);
        const Grey board = chessboard({70.3, 45.8}, 0, 40, 0, 255);
        const QImage picture = drawn(
            {110, 90}, [&](double x, double y) { return x < 55 ? lines(x, y) : board(x, y); }, 1.2);
        Snap snap = snapIn(picture, faint + QPointF(4, 3), 40);
        QCOMPARE(snap.kind, SnapKind::Corner);
        QVERIFY(distance(snap.point, faint) < 0.2);
        snap = snapIn(picture, {67, 47}, 40);
        QCOMPARE(snap.kind, SnapKind::Corner);
        QVERIFY(distance(snap.point, {70.3, 45.8}) < 0.1);
    }

    void neighbourDoesNotPull() {
        // A second corner 7 px beside it, of a smaller square.
        const QPointF place(45.6, 44.3);
        const Grey first = cross(place, 0, 2, 40, 210);
        const Grey second = square({51.5, 51.5}, 0, 9, 0, 210);
        const QImage picture = drawn(
            kSize, [&](double x, double y) { return std::min(first(x, y), second(x, y)); }, 1.2);
        const Snap snap = snapIn(picture, place + QPointF(-2, -1), 10);
        QCOMPARE(snap.kind, SnapKind::Corner);
        QVERIFY2(distance(snap.point, place) < 0.15,
                 qPrintable(QString::number(distance(snap.point, place))));
    }

    /// Two black quadrants on a white disc, as marks are, beside the edge of something else.
    void crossingsGoBeforeTheirEnds() {
        const QPointF place(48.3, 44.6);
        for (const double radius : {5.0, 6.0, 12.0}) {
            const QImage picture = drawn(
                kSize,
                [&](double x, double y) {
                    const QPointF p = turned(x, y, place, 1.5);
                    const double away = std::hypot(p.x(), p.y());
                    if (away < radius)
                        return p.x() * p.y() > 0 ? 24.0 : 231.0;
                    if (away < 1.25 * radius)
                        return 231.0;
                    if (p.y() > 1.15 * radius)
                        return p.y() < 1.15 * radius + 1.5 ? 120.0 : 180.0;
                    return std::min(std::abs(p.x()), std::abs(p.y())) < 0.8 ? 75.0 : 210.0;
                },
                1.2);
            for (int k = 0; k < 16; ++k) {
                const double angle = k * M_PI / 8;
                for (const double away : {0.0, 3.0, 8.0}) {
                    const Snap snap =
                        snapIn(picture, place + away * QPointF(std::cos(angle), std::sin(angle)), 20);
                    QCOMPARE(snap.kind, SnapKind::Corner);
                    QVERIFY2(distance(snap.point, place) < 0.15,
                             qPrintable(QStringLiteral("%1, %2 px beside: %3")
                                            .arg(radius)
                                            .arg(away)
                                            .arg(distance(snap.point, place))));
                }
            }
        }
    }

    /// Where the hand is much nearer to a corner than to a crossing, that is meant.
    void aCornerPointedAtIsTaken() {
        const QPointF crossing(40.3, 44.6);
        const QPointF corner(54.4, 56.5);
        const Grey lines = cross(crossing, 0, 2);
        const Grey box = square(corner, 0, 30);
        const QImage picture = drawn(
            kSize, [&](double x, double y) { return std::min(lines(x, y), box(x, y)); }, 1.2);
        Snap snap = snapIn(picture, corner + QPointF(1, -0.5), 20);
        QCOMPARE(snap.kind, SnapKind::Corner);
        QVERIFY(distance(snap.point, corner) < 0.4);
        snap = snapIn(picture, crossing + QPointF(9, 6), 20);
        QVERIFY(distance(snap.point, crossing) < 0.1);
    }

    /// It looks the same from both sides too, but has no edges that meet.
    void aDotIsNoCrossing() {
        const QPointF dot(40.3, 44.6);
        const QPointF corner(52.4, 49.5);
        const Grey box = square(corner, 0, 30);
        const QImage picture = drawn(
            kSize,
            [&](double x, double y) {
                return distance({x, y}, dot) < 4 ? 30.0 : box(x, y);
            },
            1.2);
        const Snap snap = snapIn(picture, corner + QPointF(-4, -3), 20);
        QCOMPARE(snap.kind, SnapKind::Corner);
        QVERIFY(distance(snap.point, corner) < 0.4);
    }

    void aCornerGoesBeforeAnEdge() {
        const QPointF corner(45.3, 44.7);
        const QImage picture = drawn(kSize, square(corner, 0, 40), 1.2);
        // On the upper edge, 9 px beside the corner.
        Snap snap = snapIn(picture, corner + QPointF(9, 0.5), 12);
        QCOMPARE(snap.kind, SnapKind::Corner);
        QVERIFY(distance(snap.point, corner) < 0.3);
        snap = snapIn(picture, corner + QPointF(9, 0.5), 6);
        QCOMPARE(snap.kind, SnapKind::Edge);
        QVERIFY(std::abs(snap.point.y() - corner.y()) < 0.06);
    }

    /// At small zooms the reach is large, and not every pixel is looked at closely.
    void farAway() {
        const QPointF place(205.375, 190.75);
        const QSize size(400, 380);
        for (const double width : {1.0, 2.0, 4.0}) {
            const QImage lines = drawn(size, cross(place, 1.2, width), 1.2);
            const Snap snap = snapIn(lines, place + QPointF(61.0, -127.0), 150);
            QCOMPARE(snap.kind, SnapKind::Corner);
            QVERIFY2(distance(snap.point, place) < 0.1, qPrintable(QString::number(width)));
        }
        const QImage line = drawn(size, edge(place, 17), 1.2);
        for (const double beside : {-10.0, 30.0, 57.0, -63.0, 120.0, 149.5}) {
            const double a = 17 * M_PI / 180;
            const Snap snap = snapIn(line, place + beside * QPointF(std::cos(a), std::sin(a)), 150);
            QCOMPARE(snap.kind, SnapKind::Edge);
            const QPointF off = turned(snap.point.x(), snap.point.y(), place, 17);
            QVERIFY2(std::abs(off.x()) < 0.06 && std::abs(off.y()) < 1.5,
                     qPrintable(QString::number(beside)));
        }
    }

    void nothingBeyondTheRadius() {
        const QPointF place(47.3, 41.8);
        const QImage picture = drawn(kSize, cross(place, 0, 3), 1.2);
        QCOMPARE(snapIn(picture, place + QPointF(5, 5), 7.2).kind, SnapKind::Corner);
        QCOMPARE(snapIn(picture, place + QPointF(5, 5), 3.0).kind, SnapKind::None);
        QCOMPARE(snapIn(picture, place + QPointF(0.5, 0.5), 1.0).kind, SnapKind::Corner);
        QCOMPARE(snapIn(picture, place + QPointF(20, 1), 1.0).kind, SnapKind::Edge);
        for (double dx = -12; dx <= 12; dx += 1.7) {
            const QPointF where = place + QPointF(dx, 6);
            const Snap snap = snapIn(picture, where, 5.5);
            if (snap.kind == SnapKind::None)
                QCOMPARE(snap.point, where);
            else
                QVERIFY(distance(snap.point, where) <= 5.5 + 1e-6);
        }
    }

    void nothingInFlatPictures_data() {
        QTest::addColumn<double>("level");
        QTest::addColumn<double>("noise");
        QTest::newRow("black") << 0.0 << 0.0;
        QTest::newRow("saturated") << 255.0 << 0.0;
        QTest::newRow("grey") << 128.0 << 0.0;
        QTest::newRow("saturated, noise") << 255.0 << 1.2;
        QTest::newRow("noise") << 128.0 << 1.2;
        QTest::newRow("much noise") << 128.0 << 8.0;
    }

    void nothingInFlatPictures() {
        QFETCH(double, level);
        QFETCH(double, noise);
        const QImage picture = drawn({400, 400}, flat(level), noise);
        for (const double radius : {1.0, 12.0, 40.0, 150.0}) {
            for (const QPointF where :
                 {QPointF(200, 200), QPointF(0, 0), QPointF(399, 180.5), QPointF(120.2, 399)}) {
                const Snap snap = snapIn(picture, where, radius);
                QCOMPARE(snap.kind, SnapKind::None);
                QCOMPARE(snap.point, where);
            }
        }
    }

    void gentleShadeIsNoEdge() {
        const QImage picture = drawn(
            {200, 200}, [](double x, double) { return 60 + 0.4 * x; }, 1.2);
        QCOMPARE(snapIn(picture, {100, 100}, 40).kind, SnapKind::None);
    }

    /// As the correction by the nearest pixel shows a line that is turned a little.
    void aStepInALineIsNoCorner() {
        for (const double width : {2.0, 3.0, 6.0}) {
            const QImage picture = drawn(
                kSize,
                [&](double x, double y) {
                    const double middle = x < 49.5 ? 44 : 45;
                    return std::abs(y - middle) < width / 2 ? 40 : 210;
                },
                1.2);
            const Snap snap = snapIn(picture, {48, 47}, 15);
            QCOMPARE(snap.kind, SnapKind::Edge);
        }
        const QImage picture = drawn(
            kSize, [](double x, double y) { return y < (x < 49.5 ? 44.5 : 45.5) ? 40 : 210; }, 1.2);
        QCOMPARE(snapIn(picture, {48, 47}, 15).kind, SnapKind::Edge);
    }

    /// A picture's own border is nothing to snap to, and features near it do not break it.
    void borders() {
        const QImage board = drawn({40, 40}, chessboard({20.3, 19.7}, 0, 7), 1.2);
        for (int y = -45; y <= 85; y += 3) {
            for (int x = -45; x <= 85; x += 3) {
                for (const double radius : {1.0, 5.0, 20.0}) {
                    const Snap snap = snapIn(board, {double(x), double(y)}, radius);
                    if (snap.kind == SnapKind::None)
                        continue;
                    QVERIFY(QRectF(0, 0, 39, 39).contains(snap.point));
                    QVERIFY(distance(snap.point, QPointF(x, y)) <= radius + 1e-6);
                    // All corners of the board lie at such places.
                    const double dx = std::remainder(snap.point.x() - 20.3, 7);
                    const double dy = std::remainder(snap.point.y() - 19.7, 7);
                    if (snap.kind == SnapKind::Corner)
                        QVERIFY2(std::hypot(dx, dy) < 0.3,
                                 qPrintable(QStringLiteral("%1 %2").arg(snap.point.x()).arg(snap.point.y())));
                }
            }
        }
        // An edge that runs into the border.
        const QImage half = drawn({60, 60}, edge({30.4, 0}, 0), 1.2);
        for (const double y : {-2.0, 0.0, 1.0, 59.0, 61.0}) {
            const Snap snap = snapIn(half, {32, y}, 5);
            QCOMPARE(snap.kind, SnapKind::Edge);
            QVERIFY(std::abs(snap.point.x() - 30.4) < 0.1);
        }
    }

    void badInput() {
        const QImage picture = drawn({60, 60}, chessboard({30.3, 29.7}, 0, 20));
        constexpr double kInfinity = std::numeric_limits<double>::infinity();
        constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
        for (const QPointF where :
             {QPointF(kNan, 30), QPointF(30, kNan), QPointF(kInfinity, 30), QPointF(30, -kInfinity),
              QPointF(1e308, 1e308), QPointF(-1e308, 30), QPointF(3e9, 30)}) {
            const Snap snap = snapIn(picture, where, 10);
            QCOMPARE(snap.kind, SnapKind::None);
            QVERIFY(std::memcmp(&snap.point, &where, sizeof where) == 0);
        }
        for (const double radius : {0.0, -5.0, kNan, -kInfinity})
            QCOMPARE(snapIn(picture, {30, 30}, radius).kind, SnapKind::None);
        QCOMPARE(snapIn(picture, {30, 30}, 1e308).kind, SnapKind::Corner);
        QCOMPARE(snapIn(picture, {30, 30}, kInfinity).kind, SnapKind::Corner);
        QCOMPARE(snapIn(QImage(), {0, 0}, 10).kind, SnapKind::None);
        for (const QSize size :
             {QSize(1, 1), QSize(2, 1), QSize(1, 50), QSize(50, 2), QSize(3, 3), QSize(8, 8)}) {
            const QImage small = drawn(size, chessboard({0.5, 0.5}, 0, 1));
            for (const double radius : {0.1, 1.0, 150.0}) {
                const Snap snap = snapIn(small, {0.4, 0.6}, radius);
                QVERIFY(distance(snap.point, {0.4, 0.6}) <= radius + 1e-6);
            }
        }
    }

    void formats() {
        const QPointF place(47.3, 41.8);
        const QImage grey = drawn(kSize, chessboard(place, 4, 25), 1.2);
        const Snap wanted = snapIn(grey, place + QPointF(2, 2), 6);
        QCOMPARE(wanted.kind, SnapKind::Corner);
        for (const QImage::Format format :
             {QImage::Format_RGB32, QImage::Format_RGB888, QImage::Format_ARGB32_Premultiplied}) {
            const Snap snap = snapIn(grey.convertToFormat(format), place + QPointF(2, 2), 6);
            QCOMPARE(snap.kind, SnapKind::Corner);
            QVERIFY(distance(snap.point, wanted.point) < 0.01);
        }
        // A part of a larger picture, whose lines are longer.
        const QImage part(grey.constScanLine(10) + 20, 60, 60, grey.bytesPerLine(),
                          QImage::Format_Grayscale8);
        const Snap snap = snapIn(part, place - QPointF(18, 8), 6);
        QVERIFY(distance(snap.point, wanted.point - QPointF(20, 10)) < 0.01);
    }
};

QTEST_GUILESS_MAIN(SnappingTest)
#include "tst_snapping.moc"
