// SPDX-License-Identifier: Apache-2.0
#include <QGraphicsScene>
#include <QtTest>

#include "camera/capturethread.h"
#include "live/livetiles.h"
#include "support/recordingcamera.h"

/// When the system is told that somebody looks at the screen.
class TestAwake : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void whileTilesStream();
    void untilTheEnd();
    void untilTheEndWithinPatience();
    void neverWithoutTiles();

private:
    std::unique_ptr<LiveTiles> makeTiles(int count);

    QGraphicsScene* scene = nullptr;
    TileView* view = nullptr;
    QVector<bool> told;
};

void TestAwake::init() {
    recording::reset(2);
    told.clear();
    scene = new QGraphicsScene;
    view = new TileView;
}

void TestAwake::cleanup() {
    delete view;
    delete scene;
}

std::unique_ptr<LiveTiles> TestAwake::makeTiles(int count) {
    LiveTiles::Setup setup;
    setup.savedPlace = [](int) { return QPointF(); };
    setup.isFrozen = [] { return false; };
    setup.keepAwake = [this](bool isOn) { told.append(isOn); };
    auto tiles = std::make_unique<LiveTiles>(setup, scene, view);
    for (int tile = 0; tile < count; ++tile)
        tiles->addTile(new CaptureThread({tile, tile, false}, nullptr));
    return tiles;
}

/// In pairs, however often somebody presses play or pause.
void TestAwake::whileTilesStream() {
    const auto tiles = makeTiles(2);
    tiles->pause();
    QCOMPARE(told, QVector<bool>());
    tiles->stream(false);
    tiles->stream(false);
    QCOMPARE(told, QVector<bool>{true});
    tiles->pause();
    tiles->pause();
    QCOMPARE(told, (QVector<bool>{true, false}));
    tiles->stream(false);
    tiles->stop();
    tiles->end();
    QCOMPARE(told, (QVector<bool>{true, false, true, false}));
}

void TestAwake::untilTheEnd() {
    const auto tiles = makeTiles(1);
    tiles->stream(false);
    tiles->end();
    QCOMPARE(told, (QVector<bool>{true, false}));
}

void TestAwake::untilTheEndWithinPatience() {
    const auto tiles = makeTiles(1);
    tiles->stream(false);
    tiles->stopWithin(10'000);
    QCOMPARE(told, (QVector<bool>{true, false}));
    tiles->end();
    QCOMPARE(told.size(), 2);
}

void TestAwake::neverWithoutTiles() {
    const auto tiles = makeTiles(0);
    tiles->stream(false);
    tiles->end();
    QCOMPARE(told, QVector<bool>());
}

QTEST_MAIN(TestAwake)
#include "tst_awake.moc"
