// SPDX-License-Identifier: Apache-2.0
#include <QtTest>
#include <cmath>

#include "measure/tileplane.h"

Q_DECLARE_METATYPE(CellScale)

namespace {

/// Two tiles of 100 x 80 px side by side; 10 px are 5 mm to the right and 10 mm down.
const CellScale kScale{{5.0, 10.0}, {10.0, 10.0}, 1};

QVector<PlaneTile> joined() {
    return {{{0, 0}, {100, 80}, {0, 0}, {0, 0}, true}, {{100, 0}, {100, 80}, {100, 0}, {-0.25, 0.5}, true}};
}

}  // namespace

/// Points of the scene in the plane that the tiles show.
class TestTilePlane : public QObject {
    Q_OBJECT

private slots:
    void bothDirections();
    void units();
    void offsetOfEachTile();
    void borders_data();
    void borders();
    void everyTileHasToBeCorrected();
    void tilesThatAreApart();
    void coordinatesGoWithTheTile_data();
    void coordinatesGoWithTheTile();
    void upperTileCounts();
    void noScale_data();
    void noScale();
    void noTiles();
};

void TestTilePlane::bothDirections() {
    const auto plane = planeFigure({{20, 30}, {60, 70}}, joined(), kScale);
    QVERIFY(plane);
    QCOMPARE(plane->points, (QVector<QPointF>{{10, 30}, {30, 70}}));
    QCOMPARE(plane->unit, 1);
    QCOMPARE(plane->pixel, 1.0);  // of the coarser direction
    QCOMPARE(plane->scale, 1.0);
}

void TestTilePlane::units() {
    CellScale scale = kScale;
    scale.unit = 2;
    const auto plane = planeFigure({{20, 30}}, joined(), scale);
    QVERIFY(plane);
    QCOMPARE(plane->points[0], QPointF(10000, 30000));
    QCOMPARE(plane->unit, 2);
    QCOMPARE(plane->pixel, 1000.0);
    scale.unit = 0;
    QVERIFY(!planeFigure({{20, 30}}, joined(), scale));
}

void TestTilePlane::offsetOfEachTile() {
    const auto plane = planeFigure({{99.9, 30}, {100.0, 30}}, joined(), kScale);
    QVERIFY(plane);
    // Pixels of the second tile begin at its place.
    QCOMPARE(plane->points[0], QPointF(49.95, 30));
    QCOMPARE(plane->points[1], QPointF((100.0 - 0.25) * 0.5, 30.5));
}

void TestTilePlane::borders_data() {
    QTest::addColumn<QPointF>("point");
    QTest::addColumn<bool>("isIn");
    QTest::newRow("first pixel") << QPointF(0, 0) << true;
    QTest::newRow("last pixel") << QPointF(199, 79) << true;
    QTest::newRow("left") << QPointF(-0.49, 10) << true;
    QTest::newRow("too far left") << QPointF(-0.51, 10) << false;
    QTest::newRow("right") << QPointF(200.49, 10) << true;
    QTest::newRow("too far right") << QPointF(200.51, 10) << false;
    QTest::newRow("above") << QPointF(10, -0.51) << false;
    QTest::newRow("below") << QPointF(10, 80.49) << true;
    QTest::newRow("too far below") << QPointF(10, 80.51) << false;
    QTest::newRow("no number") << QPointF(std::nan(""), 10) << false;
    QTest::newRow("infinite") << QPointF(10, HUGE_VAL) << false;
    QTest::newRow("absurd") << QPointF(1e308, -1e308) << false;
}

void TestTilePlane::borders() {
    QFETCH(QPointF, point);
    QFETCH(bool, isIn);
    QCOMPARE(planeFigure({{50, 40}, point}, joined(), kScale).has_value(), isIn);
}

void TestTilePlane::everyTileHasToBeCorrected() {
    auto tiles = joined();
    tiles[1].isCorrected = false;
    QVERIFY(planeFigure({{20, 30}, {60, 70}}, tiles, kScale));
    QVERIFY(!planeFigure({{20, 30}, {160, 70}}, tiles, kScale));
    QVERIFY(!planeFigure({{160, 70}}, tiles, kScale));
}

void TestTilePlane::tilesThatAreApart() {
    for (const QPointF by : {QPointF(1, 0), QPointF(0, -1), QPointF(0.01, 0)}) {
        auto tiles = joined();
        tiles[1].place += by;
        QVERIFY(!planeFigure({{20, 30}, {160, 60}}, tiles, kScale));
        QVERIFY(planeFigure({{120, 30}, {160, 60}}, tiles, kScale));
        tiles[0].place += by;
        QVERIFY(planeFigure({{20, 30}, {160, 60}}, tiles, kScale));
    }
}

void TestTilePlane::coordinatesGoWithTheTile_data() {
    QTest::addColumn<QVector<QPointF>>("by");
    QTest::newRow("at their places") << QVector<QPointF>{{}, {}};
    QTest::newRow("the second tile") << QVector<QPointF>{{}, {130, 7}};
    QTest::newRow("the second tile, by parts of a px") << QVector<QPointF>{{}, {20.3, -31.6}};
    QTest::newRow("the first tile") << QVector<QPointF>{{-150, 60}, {}};
    QTest::newRow("both together") << QVector<QPointF>{{-40, 25}, {-40, 25}};
    QTest::newRow("both, each for itself") << QVector<QPointF>{{-210.5, 25}, {-5, 125}};
}

// What is seen in a tile has the coordinate that it had before the tile was dragged.
void TestTilePlane::coordinatesGoWithTheTile() {
    QFETCH(QVector<QPointF>, by);
    auto tiles = joined();
    for (int i = 0; i < 2; ++i)
        tiles[i].place += by[i];
    const auto valueOf = [&](const QVector<QPointF>& points) {
        const auto plane = planeFigure(points, tiles, kScale);
        return plane ? plane->points : QVector<QPointF>{};
    };
    const auto isNear = [](const QVector<QPointF>& found, const QVector<QPointF>& expected) {
        bool isSame = found.size() == expected.size();
        for (int i = 0; isSame && i < found.size(); ++i)
            isSame = (found[i] - expected[i]).manhattanLength() < 1e-9;
        return isSame;
    };
    QVERIFY(isNear(valueOf({QPointF(20, 30) + by[0]}), {{10, 30}}));
    QVERIFY(isNear(valueOf({QPointF(80, 30) + by[0], QPointF(20, 60) + by[0]}), {{40, 30}, {10, 60}}));
    QVERIFY(isNear(valueOf({QPointF(160, 60) + by[1]}), {{79.875, 60.5}}));
    QVERIFY(isNear(valueOf({QPointF(160, 60) + by[1], QPointF(120, 20) + by[1]}),
                   {{79.875, 60.5}, {59.875, 20.5}}));
    const QVector<QPointF> over =
        by[0] == by[1] ? QVector<QPointF>{{10, 30}, {79.875, 60.5}} : QVector<QPointF>{};
    QVERIFY(isNear(valueOf({QPointF(20, 30) + by[0], QPointF(160, 60) + by[1]}), over));
}

// The second tile over the first one, or under it.
void TestTilePlane::upperTileCounts() {
    auto tiles = joined();
    tiles[1].place = {60, 0};
    const QPointF shared(70, 30);
    const auto upper = planeFigure({shared}, tiles, kScale);
    QVERIFY(upper);
    QCOMPARE(upper->points[0], QPointF((110 - 0.25) * 0.5, 30.5));
    QVERIFY(!planeFigure({{20, 30}, shared}, tiles, kScale));
    std::swap(tiles[0], tiles[1]);
    const auto under = planeFigure({shared}, tiles, kScale);
    QVERIFY(under);
    QCOMPARE(under->points[0], QPointF(35, 30));
    QVERIFY(planeFigure({{20, 30}, shared}, tiles, kScale));
    // What lies above shows nothing that could be measured.
    std::swap(tiles[0], tiles[1]);
    tiles[1].isCorrected = false;
    QVERIFY(!planeFigure({shared}, tiles, kScale));
}

void TestTilePlane::noScale_data() {
    QTest::addColumn<CellScale>("scale");
    QTest::newRow("none") << CellScale{};
    QTest::newRow("zero") << CellScale{{0, 10}, {10, 10}, 1};
    QTest::newRow("negative") << CellScale{{5, -10}, {10, 10}, 1};
    QTest::newRow("no px") << CellScale{{5, 10}, {0, 0}, 1};
    QTest::newRow("no number") << CellScale{{std::nan(""), 10}, {10, 10}, 1};
    QTest::newRow("absurd") << CellScale{{1e308, 10}, {1e-308, 10}, 1};
}

void TestTilePlane::noScale() {
    QFETCH(CellScale, scale);
    QVERIFY(!planeFigure({{20, 30}}, joined(), scale));
}

void TestTilePlane::noTiles() {
    QVERIFY(!planeFigure({{20, 30}}, {}, kScale));
}

QTEST_GUILESS_MAIN(TestTilePlane)
#include "tst_tileplane.moc"
