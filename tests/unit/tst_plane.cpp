// SPDX-License-Identifier: Apache-2.0
#include <QtTest>
#include <cmath>
#include <limits>

#include "calibration/plane.h"
#include "live/tilelayout.h"

namespace {

/// An upright rectangle's corners in the order of all lists.
QVector<QPointF> rectangle(double left, double top, double width, double height) {
    return {{left, top}, {left + width, top}, {left, top + height}, {left + width, top + height}};
}

void compare(QPointF actual, QPointF expected) {
    QVERIFY2(std::abs(actual.x() - expected.x()) < 1e-9 && std::abs(actual.y() - expected.y()) < 1e-9,
             qPrintable(QStringLiteral("%1 %2 instead of %3 %4")
                            .arg(actual.x(), 0, 'g', 12)
                            .arg(actual.y(), 0, 'g', 12)
                            .arg(expected.x(), 0, 'g', 12)
                            .arg(expected.y(), 0, 'g', 12)));
}

/// The scene place of a corrected tile's point while the tiles are joined as the window joins them.
QPointF shown(const CornerTable& corners, int layoutMode, int count, QSize frame, int tile, QPointF point) {
    const CropGeometry geometry = *computeCropGeometry(corners, count, layoutMode, frame);
    QVector<QSize> sizes;
    for (int i = 0; i < count; ++i)
        sizes.append(cropRectangle(geometry, corners, layoutMode, i).size());
    return correctedPositions(sizes, geometry.rowWidths, layoutMode)[tile] + point -
           cropRectangle(geometry, corners, layoutMode, tile).topLeft();
}

const QSize kFrame(2560, 1440);

}  // namespace

class PlaneTest : public QObject {
    Q_OBJECT
private slots:
    void rowByHand() {
        const CornerTable corners{rectangle(100.5, 50.25, 800.7, 400),
                                  rectangle(120.25, 60.75, 600.5, 400),
                                  rectangle(90.9, 40.5, 700.0, 400),
                                  {}};
        const auto offsets = planeOffsets(corners, 1, 3, kFrame);
        // Cut at 901 of 901.2; tile 1 begins at 120 of 120.25 and is 600 wide of 600.5; tile 2 begins at 90
        // of 90.9. The first lines are those 10, 20 and 0 px below the topmost corner's whole px, 40.
        compare(offsets[0], {0, 0});
        compare(offsets[1], {0.2 - 0.25, 0.25 - 0.75});
        compare(offsets[2], {0.2 + 0.5 - 0.9, 0.25 - 0.5});
        compare(offsets[3], {0, 0});
    }

    void gridByHand() {
        const CornerTable corners{rectangle(100.5, 50.25, 800.7, 400.5),
                                  rectangle(120.25, 60.75, 800.7, 400.5), rectangle(90.9, 40.5, 800.7, 400.5),
                                  rectangle(70.1, 30.2, 800.7, 400.5)};
        const auto offsets = planeOffsets(corners, 0, 4, kFrame);
        // The inner corners: 901.2 450.75, 120.25 461.25, 891.6 40.5, 70.1 30.2. 891 px are left of the
        // middle and 450 above it, so tile 0 is cut at 10 (of 10.2) and 0 (of 0.75): its inner corner shows
        // at 891.2, 450.75; the others' at 891.25, 450.25 and 891.6, 450.5 and 891.1, 450.2.
        compare(offsets[0], {0, 0});
        compare(offsets[1], {-0.05, 0.5});
        compare(offsets[2], {-0.4, 0.25});
        compare(offsets[3], {0.1, 0.55});
    }

    void sharedCornersMeet_data() {
        QTest::addColumn<int>("layoutMode");
        QTest::addColumn<int>("count");
        QTest::newRow("grid") << 0 << 4;
        for (int count = 1; count <= 4; ++count)
            QTest::addRow("row of %d", count) << 1 << count;
        QTest::newRow("row by another number") << 7 << 3;
    }

    /// What is one point for two cameras is one point of the plane, and a tile's width is its true one.
    void sharedCornersMeet() {
        QFETCH(int, layoutMode);
        QFETCH(int, count);
        const CornerTable corners{
            rectangle(101.13, 52.91, 1001.77, 503.3), rectangle(88.49, 61.02, 1502.65, 503.3),
            rectangle(93.98, 49.55, 1001.77, 503.3), rectangle(75.51, 57.5, 1001.77, 503.3)};
        const auto offsets = planeOffsets(corners, layoutMode, count, kFrame);
        const auto inPlane = [&](int tile, Corner corner) {
            return shown(corners, layoutMode, count, kFrame, tile, corners[tile][corner]) + offsets[tile];
        };
        compare(offsets[0], {0, 0});
        bool isMoved = false;
        for (int i = 1; i < count; ++i) {
            isMoved = isMoved || !offsets[i].isNull();
            if (layoutMode == 0) {
                const Corner inner[] = {BottomRight, BottomLeft, TopRight, TopLeft};
                compare(inPlane(i, inner[i]), inPlane(0, BottomRight));
            } else {
                compare(inPlane(i, TopLeft), inPlane(i - 1, TopRight));
                compare(inPlane(i, TopRight) - inPlane(i, TopLeft),
                        {corners[i][TopRight].x() - corners[i][TopLeft].x(), 0});
            }
        }
        QCOMPARE(isMoved, count > 1);
        // A cut takes less than a px at each end of a tile.
        for (const QPointF offset : offsets)
            QVERIFY(std::abs(offset.x()) < 4 && std::abs(offset.y()) < 2);
    }

    void wholePixelsNeedNothing() {
        const CornerTable corners{rectangle(100, 50, 800, 400), rectangle(120, 60, 800, 400),
                                  rectangle(90, 40, 800, 400), rectangle(70, 30, 800, 400)};
        for (const int layoutMode : {0, 1}) {
            for (const QPointF offset : planeOffsets(corners, layoutMode, 4, kFrame))
                compare(offset, {0, 0});
        }
    }

    void missingCornersGiveNothing() {
        CornerTable corners{rectangle(100.5, 50.3, 800, 400), rectangle(120.7, 60.1, 800, 400), {}, {}};
        const std::array<QPointF, 4> nothing;
        QVERIFY(planeOffsets(corners, 1, 2, kFrame) != nothing);
        QCOMPARE(planeOffsets(corners, 1, 3, kFrame), nothing);
        QCOMPARE(planeOffsets(corners, 0, 4, kFrame), nothing);
        QCOMPARE(planeOffsets(corners, 1, 0, kFrame), nothing);
        QCOMPARE(planeOffsets(corners, 1, 5, kFrame), nothing);
        corners[1][TopLeft].setX(std::numeric_limits<double>::quiet_NaN());
        QCOMPARE(planeOffsets(corners, 1, 2, kFrame), nothing);
        corners[1][TopLeft].setX(std::numeric_limits<double>::infinity());
        QCOMPARE(planeOffsets(corners, 1, 2, kFrame), nothing);
    }

    void cells() {
        CornerTable corners{rectangle(100.5, 50.25, 801, 403), {}, {}, {}};
        QCOMPARE(cellPx(corners, 10, 5), std::optional(QSizeF(80.1, 80.6)));
        QCOMPARE(cellPx(corners, 1, 1), std::optional(QSizeF(801, 403)));
        QVERIFY(!cellPx(corners, 0, 5));
        QVERIFY(!cellPx(corners, 10, 0));
        QVERIFY(!cellPx(corners, -10, 5));
        QVERIFY(!cellPx({}, 10, 5));
        corners[0] = rectangle(100.5, 50.25, 0, 403);
        QVERIFY(!cellPx(corners, 10, 5));
        corners[0] = rectangle(100.5, 50.25, 801, -403);
        QVERIFY(!cellPx(corners, 10, 5));
        corners[0] = rectangle(100.5, 50.25, std::numeric_limits<double>::infinity(), 403);
        QVERIFY(!cellPx(corners, 10, 5));
        corners[0] = rectangle(std::numeric_limits<double>::quiet_NaN(), 50.25, 801, 403);
        QVERIFY(!cellPx(corners, 10, 5));
    }

    void wholeCells() {
        const CornerTable corners{rectangle(100.5, 50.25, 800, 400), {}, {}, {}};
        QVERIFY(isWholeCells(corners, {80, 40}));
        QVERIFY(isWholeCells(corners, {800, 400}));
        QVERIFY(isWholeCells(corners, {80.07, 40}));
        QVERIFY(!isWholeCells(corners, {80.1, 40}));
        QVERIFY(!isWholeCells(corners, {80, 39}));
        QVERIFY(!isWholeCells(corners, {1600, 400}));
        QVERIFY(!isWholeCells(corners, {1e9, 1e9}));
        QVERIFY(!isWholeCells(corners, {0, 0}));
        QVERIFY(!isWholeCells(corners, {-80, -40}));
        const double none = std::numeric_limits<double>::quiet_NaN();
        QVERIFY(!isWholeCells(corners, {none, none}));
        QVERIFY(!isWholeCells({}, {80, 40}));
    }
};

QTEST_GUILESS_MAIN(PlaneTest)
#include "tst_plane.moc"
