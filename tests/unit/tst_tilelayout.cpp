// SPDX-License-Identifier: Apache-2.0
#include <QtTest>

#include "live/tilelayout.h"

/// The arithmetic of the view.
class TestTileLayout : public QObject {
    Q_OBJECT

private slots:
    void oneTile();
    void rowOfTiles();
    void firstTileIsNotAtTheLeft();
    void positionsAreTruncated();
    void nothingToFit_data();
    void nothingToFit();
    void spreadTilesOfEmptyPictures();
    void readingOrderOfAGrid();
    void readingOrderOfARow();
    void readingOrderOfFewTiles();
    void slotsAndColumns();
    void rearrangedSlots();
    void correctedPlaces();
    void storedPositions_data();
    void storedPositions();
    void wheelZoom_data();
    void wheelZoom();
};

void TestTileLayout::oneTile() {
    const auto fit = zoomFit({{0, 0}}, {1000, 1000}, {1002, 602});
    QVERIFY(fit);
    QCOMPARE(fit->scale, 0.6);
    QCOMPARE(fit->sceneRect, QRect(0, 0, 1000, 1000));
}

void TestTileLayout::rowOfTiles() {
    const auto fit = zoomFit({{0, 0}, {640, 0}, {1280, 0}, {1920, 0}}, {640, 480}, {1282, 722});
    QVERIFY(fit);
    QCOMPARE(fit->sceneRect, QRect(0, 0, 2560, 480));
    QCOMPARE(fit->scale, 0.5);
}

void TestTileLayout::firstTileIsNotAtTheLeft() {
    const auto fit = zoomFit({{640, 100}, {-20, 480}, {700, -30}}, {640, 480}, {1002, 1002});
    QVERIFY(fit);
    QCOMPARE(fit->sceneRect, QRect(-20, -30, 720 + 640, 510 + 480));
}

void TestTileLayout::positionsAreTruncated() {
    const auto fit = zoomFit({{-0.9, 10.9}, {640.7, 10.2}}, {640, 480}, {1002, 1002});
    QVERIFY(fit);
    QCOMPARE(fit->sceneRect, QRect(0, 10, 640 + 640, 480));
}

void TestTileLayout::nothingToFit_data() {
    QTest::addColumn<int>("tiles");
    QTest::addColumn<QSize>("tile");
    QTest::addColumn<QSize>("view");
    QTest::newRow("no tile") << 0 << QSize(10, 10) << QSize(100, 100);
    QTest::newRow("empty pictures on one spot") << 2 << QSize(0, 0) << QSize(100, 100);
    QTest::newRow("no room") << 1 << QSize(10, 10) << QSize(2, 100);
    QTest::newRow("less than no room") << 1 << QSize(10, 10) << QSize(0, 0);
}

void TestTileLayout::nothingToFit() {
    QFETCH(int, tiles);
    QFETCH(QSize, tile);
    QFETCH(QSize, view);
    QVERIFY(!zoomFit(QVector<QPointF>(tiles), tile, view));
}

/// Tile 0 has no picture, yet there is something to be seen beside it.
void TestTileLayout::spreadTilesOfEmptyPictures() {
    const auto row = zoomFit({{0, 0}, {500, 0}}, {0, 0}, {102, 52});
    QVERIFY(row);
    QCOMPARE(row->sceneRect, QRect(0, 0, 500, 0));
    QCOMPARE(row->scale, 0.2);
    const auto column = zoomFit({{0, 0}, {0, 500}}, {0, 0}, {102, 52});
    QVERIFY(column);
    QCOMPARE(column->scale, 0.1);
    const auto grid = zoomFit({{0, 0}, {500, 0}, {0, 100}, {500, 100}}, {0, 0}, {102, 52});
    QVERIFY(grid);
    QCOMPARE(grid->scale, 0.2);
}

void TestTileLayout::readingOrderOfAGrid() {
    const auto order = readingOrder({{650, 490, 0}, {-3, 5, 1}, {4, 470, 2}, {640, -8, 3}}, 0);
    QCOMPARE(order[0].index, 1);
    QCOMPARE(order[1].index, 3);
    QCOMPARE(order[2].index, 2);
    QCOMPARE(order[3].index, 0);
}

void TestTileLayout::readingOrderOfARow() {
    for (const int layoutMode : {1, 2, -1}) {
        const auto order = readingOrder({{30, 0, 0}, {10, 99, 1}, {20, -5, 2}}, layoutMode);
        QCOMPARE(order[0].index, 1);
        QCOMPARE(order[1].index, 2);
        QCOMPARE(order[2].index, 0);
    }
}

void TestTileLayout::readingOrderOfFewTiles() {
    QVERIFY(readingOrder({}, 0).isEmpty());
    QCOMPARE(readingOrder({{5, 5, 0}}, 0).size(), 1);
    const auto three = readingOrder({{50, 0, 0}, {0, 1, 1}, {70, 90, 2}}, 0);
    QCOMPARE(three[0].index, 1);
    QCOMPARE(three[1].index, 0);
    QCOMPARE(three[2].index, 2);
}

void TestTileLayout::slotsAndColumns() {
    QCOMPARE(arrangedColumns(2, 1, 4), 4);
    QCOMPARE(arrangedColumns(2, 0, 4), 2);
    QCOMPARE(arrangedColumns(3, 2, 4), 3);
    QCOMPARE(arrangedColumns(0, 0, 4), 1);
    QCOMPARE(arrangedColumns(-5, 2, 4), 1);
    QCOMPARE(arrangedColumns(2, 1, 0), 1);
    QCOMPARE(slotPosition(3, 2, {640, 480}), QPointF(640, 480));
    QCOMPARE(slotPosition(2, 2, {640, 480}), QPointF(0, 480));
    QCOMPARE(slotPosition(3, 4, {640, 480}), QPointF(1920, 0));
}

void TestTileLayout::rearrangedSlots() {
    const auto places = rearranged({{650, 490, 0}, {-3, 5, 1}, {4, 470, 2}, {640, -8, 3}}, {640, 480}, 2, 0);
    QCOMPARE(places.size(), 4);
    const QVector<int> order{1, 3, 2, 0};
    const QVector<QPointF> corners{{0, 0}, {640, 0}, {0, 480}, {640, 480}};
    for (int slot = 0; slot < 4; ++slot) {
        QCOMPARE(places[slot].index, order[slot]);
        QCOMPARE(QPointF(places[slot].x, places[slot].y), corners[slot]);
    }
}

void TestTileLayout::correctedPlaces() {
    const QVector<QSize> sizes{{500, 400}, {300, 390}, {480, 410}, {310, 405}};
    QCOMPARE(correctedPositions(sizes, {500, 299, 200, 100}, 1),
             (QVector<QPointF>{{0, 0}, {500, 0}, {799, 0}, {999, 0}}));
    QCOMPARE(correctedPositions(sizes, {}, 0), (QVector<QPointF>{{0, 0}, {500, 10}, {20, 400}, {500, 400}}));
    QVERIFY(correctedPositions({}, {}, 0).isEmpty());
}

void TestTileLayout::storedPositions_data() {
    QTest::addColumn<double>("stored");
    QTest::addColumn<int>("expected");
    QTest::newRow("whole") << 640.0 << 640;
    QTest::newRow("truncated") << 640.9 << 640;
    QTest::newRow("negative") << -640.9 << -640;
    QTest::newRow("far out") << 1e300 << 10000000;
    QTest::newRow("far out the other way") << -1e300 << -10000000;
    QTest::newRow("not a number") << qQNaN() << 0;
}

void TestTileLayout::storedPositions() {
    QFETCH(double, stored);
    QTEST(tilePosition(stored), "expected");
}

void TestTileLayout::wheelZoom_data() {
    QTest::addColumn<double>("scale");
    QTest::addColumn<double>("notches");
    QTest::addColumn<double>("fit");
    QTest::addColumn<double>("after");
    const double inf = qInf();
    QTest::newRow("one in") << 1.0 << 1.0 << 0.4 << 1.1;
    QTest::newRow("one out") << 2.0 << -1.0 << 0.4 << 2.0 * 0.9090909090909091;
    QTest::newRow("three at once") << 1.0 << 3.0 << 0.4 << 1.331;
    QTest::newRow("a tenth") << 1.0 << 0.1 << 0.4 << 1.0095765828;
    QTest::newRow("none") << 1.0 << 0.0 << 0.4 << 1.0;
    QTest::newRow("in to the end") << 60.0 << 1.0 << 0.4 << 64.0;
    QTest::newRow("in far") << 1.0 << 1e9 << 0.4 << 64.0;
    QTest::newRow("in at the end") << 64.0 << 1.0 << 0.4 << 64.0;
    QTest::newRow("in beyond the end") << 500.0 << 1.0 << 0.4 << 500.0;
    QTest::newRow("back from beyond") << 550.0 << -1.0 << 0.4 << 500.0;
    QTest::newRow("out to the end") << 0.105 << -1.0 << 0.4 << 0.1;
    QTest::newRow("out far") << 1.0 << -1e9 << 0.4 << 0.1;
    QTest::newRow("out at the end") << 0.1 << -1.0 << 0.4 << 0.1;
    QTest::newRow("out beyond the end") << 0.01 << -1.0 << 0.4 << 0.01;
    QTest::newRow("back from outside") << 0.01 << 1.0 << 0.4 << 0.011;
    // A scene smaller than the view can be seen at its own size, and closer than fitted.
    QTest::newRow("small scene, out") << 1.0 << -1e9 << 20.0 << 0.25;
    QTest::newRow("small scene, in") << 1.0 << 1e9 << 20.0 << 1280.0;
    QTest::newRow("no scale") << 0.0 << 1.0 << 0.4 << 0.0;
    QTest::newRow("endless scale") << inf << -1.0 << 0.4 << inf;
}

void TestTileLayout::wheelZoom() {
    QFETCH(double, scale);
    QFETCH(double, notches);
    QFETCH(double, fit);
    QFETCH(double, after);
    const double result = scale * wheelZoomFactor(scale, notches, fit);
    if (qIsInf(after))
        QVERIFY(qIsInf(result));
    else
        QVERIFY2(qAbs(result - after) <= 1e-9 * after, qPrintable(QString::number(result, 'g', 17)));
    // A step is that of the actions, to the last bit.
    QCOMPARE(wheelZoomFactor(1.0, 1.0, 1.0) == kZoomStep, true);
    QCOMPARE(wheelZoomFactor(1.0, -1.0, 1.0) == kZoomStepBack, true);
}

QTEST_GUILESS_MAIN(TestTileLayout)
#include "tst_tilelayout.moc"
