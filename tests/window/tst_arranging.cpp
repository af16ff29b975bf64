// SPDX-License-Identifier: Apache-2.0
#include "support/greytiles.h"
#include "support/mainwindowtest.h"
#include "support/recordingcamera.h"

/// Where the tiles are and how much of them is seen: arrangement, saved places, zoom.
class TestArranging : public QObject {
    Q_OBJECT

private slots:
    void init() { attachFourCameras(); }
    void gridIsRearranged();
    void rowIsRearranged();
    void otherModesSortByXButUseColumns();
    void columnsThatAreNone_data();
    void columnsThatAreNone();
    void restartOnlyWhenACameraChangesItsSlot();
    void rearrangedThereAndBack();
    void demoKeepsTheCamerasOfTheFile();
    void gridOfThreeTiles();
    void rearrangeBeforeAnyFrame();
    void rearrangeWithATileThatNeverCame();
    void rearrangedPlacesAreThereAtTheNextStart();
    void correctedRowIsJoined_data();
    void correctedRowIsJoined();
    void correctedGridMeetsInOnePoint();
    void savePosWithAList();
    void singleTileIsSaved();
    void zoomSteps();
    void zoomFitWaitsForAllTiles();
    void smallPicturesAreMeans();
    void backgroundWhereNoTileIs();

private:
    static QVector<QPointF> placesByGrey(const WindowUnderTest& window, int count);
    static QString disk(const char* key) { return WorkingFolder::keyOnDisk(QLatin1String(key)); }
};

/// Where each tile is, tile 0 first: tiles are told apart by the grey that `startWithTiles` gave them.
QVector<QPointF> TestArranging::placesByGrey(const WindowUnderTest& window, int count) {
    QVector<QPointF> places(count);
    for (const auto* tile : window.tiles())
        places[WindowUnderTest::greyOf(tile) / 10 - 1] = tile->pos();
    return places;
}

void TestArranging::gridIsRearranged() {
    WindowUnderTest window;
    // Roughly a 2 x 2 grid; top left is tile 2.
    startWithTiles(window, {{70, 5}, {3, 60}, {-4, 2}, {66, 49}}, "[Camera]\nMode=0\nColumn=2\n");
    window.action("actionRearrange")->trigger();
    QCOMPARE(placesByGrey(window, 4), (QVector<QPointF>{{64, 0}, {0, 48}, {0, 0}, {64, 48}}));
    QCOMPARE(disk("Camera/Cam0"), QStringLiteral("SN2"));
    QCOMPARE(disk("Camera/Cam1"), QStringLiteral("SN0"));
    QCOMPARE(disk("Camera/Cam2"), QStringLiteral("SN1"));
    QCOMPARE(disk("Camera/Cam3"), QStringLiteral("SN3"));
    QCOMPARE(window.answerer.boxes.last().title, QStringLiteral("Restart"));
    QCOMPARE(window.answerer.boxes.last().text, QStringLiteral("Restart to continue."));
    QCOMPARE(window.answerer.boxes.last().icon, QMessageBox::Warning);
    QCOMPARE(window.answerer.boxes.last().buttons, QMessageBox::Ok);
    // Positions are stored per slot.
    QCOMPARE(disk("Pos/X0"), QStringLiteral("0"));
    QCOMPARE(disk("Pos/X1"), QStringLiteral("64"));
    QCOMPARE(disk("Pos/Y2"), QStringLiteral("48"));
    QCOMPARE(window.view()->scene()->sceneRect(), QRectF(0, 0, 128, 96));
}

void TestArranging::rowIsRearranged() {
    WindowUnderTest window;
    startWithTiles(window, {{300, 0}, {100, 9}, {200, -5}}, "[Camera]\nMode=1\nColumn=2\n");
    window.action("actionRearrange")->trigger();
    QCOMPARE(placesByGrey(window, 3), (QVector<QPointF>{{128, 0}, {0, 0}, {64, 0}}));
}

void TestArranging::otherModesSortByXButUseColumns() {
    WindowUnderTest window;
    startWithTiles(window, {{0, 0}, {100, 0}, {200, 0}, {300, 0}}, "[Camera]\nMode=2\nColumn=3\n");
    window.action("actionRearrange")->trigger();
    QCOMPARE(placesByGrey(window, 4), (QVector<QPointF>{{0, 0}, {64, 0}, {128, 0}, {0, 48}}));
}

void TestArranging::columnsThatAreNone_data() {
    QTest::addColumn<QByteArray>("columns");
    QTest::newRow("zero") << QByteArray("0");
    QTest::newRow("negative") << QByteArray("-2");
    QTest::newRow("text") << QByteArray("many");
}

void TestArranging::columnsThatAreNone() {
    QFETCH(QByteArray, columns);
    WindowUnderTest window;
    startWithTiles(window, {{0, 0}, {100, 0}}, "[Camera]\nMode=2\nColumn=" + columns + "\n");
    window.action("actionRearrange")->trigger();
    QCOMPARE(placesByGrey(window, 2), (QVector<QPointF>{{0, 0}, {0, 48}}));
}

void TestArranging::restartOnlyWhenACameraChangesItsSlot() {
    WindowUnderTest window;
    startWithTiles(window, {{0, 0}, {100, 3}}, "[Camera]\nCam0=SN1\nCam1=SN0\n");
    const int boxes = window.answerer.boxes.size();
    window.action("actionRearrange")->trigger();
    QCOMPARE(window.answerer.boxes.size(), boxes);
    QCOMPARE(disk("Camera/Cam0"), QStringLiteral("SN1"));
    for (auto* tile : window.tiles())
        tile->setX(-tile->x());
    window.action("actionRearrange")->trigger();
    QCOMPARE(window.answerer.boxes.size(), boxes + 1);
    QCOMPARE(disk("Camera/Cam0"), QStringLiteral("SN0"));
    QCOMPARE(disk("Camera/Cam1"), QStringLiteral("SN1"));
}

void TestArranging::rearrangedThereAndBack() {
    WindowUnderTest window;
    startWithTiles(window, {{0, 0}, {100, 0}}, "[Camera]\nCam0=SN0\nCam1=SN1\n");
    const auto swapTiles = [&] {
        const auto tiles = window.tiles();
        tiles[0]->setX(500);
        window.action("actionRearrange")->trigger();
    };
    swapTiles();
    QCOMPARE(disk("Camera/Cam0"), QStringLiteral("SN1"));
    const int boxes = window.answerer.boxes.size();
    swapTiles();
    QCOMPARE(disk("Camera/Cam0"), QStringLiteral("SN0"));  // what is seen is what the next start shows
    QCOMPARE(disk("Camera/Cam1"), QStringLiteral("SN1"));
    QCOMPARE(window.answerer.boxes.size(), boxes);  // and that is what runs already
}

void TestArranging::demoKeepsTheCamerasOfTheFile() {
    WindowUnderTest window;
    recording::setReportedCount(0);
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"),
                                 "[Camera]\nDemo=2\nCam0=A\nCam1=B\n[Pos]\nX0=100\nX1=0\n"));
    window.start();
    QVERIFY(window.waitForTiles(2));
    const int boxes = window.answerer.boxes.size();
    window.action("actionRearrange")->trigger();
    QCOMPARE(disk("Camera/Cam0"), QStringLiteral("A"));
    QCOMPARE(disk("Camera/Cam1"), QStringLiteral("B"));
    QCOMPARE(window.answerer.boxes.size(), boxes);
}

void TestArranging::gridOfThreeTiles() {
    WindowUnderTest window;
    startWithTiles(window, {{100, 0}, {0, 1}, {0, 100}}, "[Camera]\nMode=0\n");
    window.action("actionRearrange")->trigger();
    QCOMPARE(placesByGrey(window, 3), (QVector<QPointF>{{64, 0}, {0, 0}, {0, 48}}));
}

void TestArranging::rearrangeBeforeAnyFrame() {
    WindowUnderTest window;
    window.start();
    const QByteArray before = WorkingFolder::read(QStringLiteral("setting.ini"));
    window.action("actionRearrange")->trigger();
    QCOMPARE(WorkingFolder::read(QStringLiteral("setting.ini")), before);
}

void TestArranging::rearrangeWithATileThatNeverCame() {
    WindowUnderTest window;
    startWithTiles(window, {{0, 0}}, "[Camera]\nMode=1\nCam0=SN0\nCam1=SN1\nCam2=SN2\n");
    window.end();
    WindowUnderTest second;
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"),
                                 "[Camera]\nMode=1\n[Pos]\nX0=0\nX1=100\nX2=200\nY0=0\nY1=0\nY2=0\n"));
    recording::setReportedCount(3);
    second.start();
    second.sendFrame(0, 10);
    second.sendFrame(2, 30);
    second.action("actionRearrange")->trigger();
    QCOMPARE(second.tiles()[1]->pos(), QPointF(128, 0));
    second.sendFrame(1, 20);
    QCOMPARE(second.tiles()[1]->pos(), QPointF(64, 0));  // where its slot is
}

void TestArranging::rearrangedPlacesAreThereAtTheNextStart() {
    const WorkingFolder folder;
    BoxAnswerer answerer;
    recording::setReportedCount(2);
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"), "[Pos]\nX0=90\nY0=0\nX1=0\nY1=7\n"));
    const auto send = [](MainWindow& window, int tile, int grey) {
        auto* buffer = new unsigned char[64 * 48];
        std::fill_n(buffer, 64 * 48, static_cast<unsigned char>(grey));
        window.process(tile, QImage(buffer, 64, 48, 64, QImage::Format_Grayscale8), buffer,
                       static_cast<quint64>(QDateTime::currentMSecsSinceEpoch()));
    };
    {
        MainWindow window(nullptr);
        send(window, 0, 10);
        send(window, 1, 20);
        window.findChild<QAction*>(QStringLiteral("actionRearrange"))->trigger();
    }
    MainWindow window(nullptr);
    // The cameras have changed places: tile 0 is now the camera that was right of it.
    QCOMPARE(window.findChildren<CaptureThread*>()[0]->cameraIndex(), 1);
    send(window, 0, 20);
    send(window, 1, 10);
    auto* view = window.findChild<QGraphicsView*>();
    for (QGraphicsItem* item : view->scene()->items()) {
        auto* tile = qgraphicsitem_cast<QGraphicsPixmapItem*>(item);
        QCOMPARE(tile->pos(), WindowUnderTest::greyOf(tile) == 20 ? QPointF(0, 0) : QPointF(64, 0));
    }
}

namespace {

QByteArray calibration(const QByteArray& corners) {
    return R"(<?xml version="1.0"?>
<opencv_storage>
<calibrate type_id="opencv-matrix"><rows>3</rows><cols>3</cols><dt>d</dt><data>
1. 0. 0. 0. 1. 0. 0. 0. 1.</data></calibrate>
<corner_src type_id="opencv-matrix"><rows>4</rows><cols>2</cols><dt>f</dt><data>)" +
           corners + R"(</data></corner_src>
<corner_dst type_id="opencv-matrix"><rows>4</rows><cols>2</cols><dt>f</dt><data>)" +
           corners + "</data></corner_dst>\n</opencv_storage>\n";
}

}  // namespace

void TestArranging::correctedRowIsJoined_data() {
    QTest::addColumn<QByteArray>("mode");
    for (const char* mode : {"1", "2", "-1"})
        QTest::newRow(mode) << QByteArray(mode);
}

void TestArranging::correctedRowIsJoined() {
    WindowUnderTest window;
    QVERIFY(WorkingFolder::write(QStringLiteral("Cal0.xml"), calibration("6. 4. 50. 4. 6. 40. 50. 40.")));
    QVERIFY(WorkingFolder::write(QStringLiteral("Cal1.xml"), calibration("8. 4. 56. 4. 8. 40. 56. 40.")));
    QVERIFY(WorkingFolder::write(QStringLiteral("Cal2.xml"), calibration("9. 4. 60. 4. 9. 40. 60. 40.")));
    QFETCH(QByteArray, mode);
    startWithTiles(window, {{0, 0}, {1, 1}, {2, 2}}, "[Camera]\nMode=" + mode + "\n[File]\nTrans=1\n");
    window.action("actionRearrange")->trigger();
    QCOMPARE(placesByGrey(window, 3), (QVector<QPointF>{{0, 0}, {50, 0}, {98, 0}}));
    QCOMPARE(window.tiles()[1]->pixmap().size(), QSize(48, 48));
    QCOMPARE(window.tiles()[2]->pixmap().size(), QSize(55, 48));
    // No camera changes its slot when corrected tiles are joined.
    for (const auto& box : qAsConst(window.answerer.boxes))
        QVERIFY(box.title != QLatin1String("Restart"));
    QCOMPARE(disk("Pos/X2"), QStringLiteral("98"));
}

void TestArranging::correctedGridMeetsInOnePoint() {
    WindowUnderTest window;
    QVERIFY(WorkingFolder::write(QStringLiteral("Cal0.xml"), calibration("6. 4. 50. 4. 6. 40. 50. 40.")));
    QVERIFY(WorkingFolder::write(QStringLiteral("Cal1.xml"), calibration("8. 4. 56. 4. 8. 40. 56. 40.")));
    QVERIFY(WorkingFolder::write(QStringLiteral("Cal2.xml"), calibration("9. 5. 60. 5. 9. 40. 60. 40.")));
    QVERIFY(WorkingFolder::write(QStringLiteral("Cal3.xml"), calibration("7. 6. 60. 6. 7. 40. 60. 40.")));
    startWithTiles(window, {{0, 0}, {1, 1}, {2, 2}, {3, 3}}, "[Camera]\nMode=0\n[File]\nTrans=1\n");
    window.action("actionRearrange")->trigger();
    const auto places = placesByGrey(window, 4);
    const auto tiles = window.tiles();
    const auto sizeAt = [&](QPointF place) {
        for (const auto* tile : tiles) {
            if (tile->pos() == place)
                return tile->pixmap().size();
        }
        return QSize();
    };
    const QPointF middle(50, 40);  // cropLeft, cropTop
    QCOMPARE(places[0] + QPointF(sizeAt(places[0]).width(), sizeAt(places[0]).height()), middle);
    QCOMPARE(places[1] + QPointF(0, sizeAt(places[1]).height()), middle);
    QCOMPARE(places[2] + QPointF(sizeAt(places[2]).width(), 0), middle);
    QCOMPARE(places[3], middle);
}

void TestArranging::savePosWithAList() {
    WindowUnderTest window;
    startWithTiles(window, {{11, 12}, {21, 22}});
    window->savePos({{0, 0, 1}, {0, 0, 0}});
    window->savePos({{0, 0, 99}});  // no such tile: nothing read past the tiles
    window->savePos({{0, 0, 1}, {0, 0, 0}});
    window->resetView();  // brings it to disk
    QCOMPARE(disk("Pos/X0"), QStringLiteral("21"));
    QCOMPARE(disk("Pos/Y1"), QStringLiteral("12"));
    window->savePos({});
    window->resetView();
    QCOMPARE(disk("Pos/X0"), QStringLiteral("11"));
}

void TestArranging::singleTileIsSaved() {
    WindowUnderTest window;
    startWithTiles(window, {{0, 0}, {64, 0}}, "[File]\nType=2\n");
    const auto saved = [] { return QDir().entryList({QStringLiteral("snapshot-*.png")}); };
    window.action("actionSave_Single")->trigger();
    QVERIFY(saved().isEmpty());  // nothing is selected
    auto* line = window.view()->scene()->addLine(0, 0, 5, 5);
    line->setFlag(QGraphicsItem::ItemIsSelectable);
    line->setSelected(true);
    window.action("actionSave_Single")->trigger();
    QVERIFY(saved().isEmpty());  // and that is no picture
    delete line;
    auto* tile = window.tiles()[1];
    tile->setFlag(QGraphicsItem::ItemIsSelectable);
    tile->setSelected(true);
    const QString before = window.leftText();
    window.action("actionSave_Single")->trigger();
    QCOMPARE(saved().size(), 1);
    const QImage picture(saved().first());
    QCOMPARE(picture.size(), kFrame);
    QCOMPARE(qGray(picture.pixel(5, 5)), 20);
    QCOMPARE(window.leftText(), before);
}

void TestArranging::zoomSteps() {
    WindowUnderTest window;
    startWithTiles(window, {{0, 0}});
    window.action("actionReset")->trigger();
    QCOMPARE(window.view()->transform(), QTransform());
    QCOMPARE(disk("File/Zoom"), QStringLiteral("1"));
    for (int i = 0; i < 10; ++i)
        window.action("actionZoom_In")->trigger();
    QVERIFY(qAbs(window.view()->transform().m11() - std::pow(1.1, 10)) < 1e-12);
    QCOMPARE(window.view()->transform().m22(), window.view()->transform().m11());
    window.action("actionZoom_Out")->trigger();
    QVERIFY(qAbs(window.view()->transform().m11() - std::pow(1.1, 10) * 0.9090909090909091) < 1e-12);
    QCOMPARE(disk("File/Zoom"), QStringLiteral("1"));  // the steps are not stored
    window.action("actionReset")->trigger();
    QCOMPARE(window.view()->transform(), QTransform());
}

void TestArranging::zoomFitWaitsForAllTiles() {
    WindowUnderTest window;
    recording::setReportedCount(2);
    window.start();
    window.sendFrame(0, 10);
    window.action("actionZoom_Fit")->trigger();
    QVERIFY(disk("File/Zoom").isNull());
    window.sendFrame(1, 20);
    QVERIFY(!disk("File/Zoom").isNull());
}

void TestArranging::smallPicturesAreMeans() {
    WindowUnderTest window;
    startWithTiles(window, {{0, 0}, {kFrame.width(), 0}});
    window.view()->resetTransform();
    window.view()->scale(0.5, 0.5);
    for (int tile = 0; tile < 2; ++tile) {
        // Pixels that are black and white in turn, like a chessboard.
        auto* buffer = new unsigned char[size_t(kFrame.width() * kFrame.height())];
        for (int i = 0; i < kFrame.width() * kFrame.height(); ++i)
            buffer[i] = (i + i / kFrame.width()) % 2 == 0 ? 0 : 254;
        window->process(
            tile, QImage(buffer, kFrame.width(), kFrame.height(), kFrame.width(), QImage::Format_Grayscale8),
            buffer, static_cast<quint64>(QDateTime::currentMSecsSinceEpoch()));
    }
    const QImage screen = window.view()->viewport()->grab().toImage();
    const QRect tiles =
        window.view()->mapFromScene(QRectF(0, 0, 128, 48)).boundingRect().adjusted(0, 0, -1, -1);
    QVERIFY(tiles.width() >= 62);
    for (int y = tiles.top(); y < tiles.bottom(); ++y) {
        for (int x = tiles.left(); x < tiles.right(); ++x)
            QVERIFY2(std::abs(qGray(screen.pixel(x, y)) - 127) <= 2,
                     qPrintable(QStringLiteral("%1 %2").arg(x).arg(y)));
    }
    // The pictures themselves are as they were.
    for (const auto* tile : window.tiles()) {
        QCOMPARE(qGray(tile->pixmap().toImage().pixel(0, 0)), 0);
        QCOMPARE(qGray(tile->pixmap().toImage().pixel(1, 0)), 254);
    }
}

void TestArranging::backgroundWhereNoTileIs() {
    WindowUnderTest window;
    startWithTiles(window, {{0, 0}, {kFrame.width() + 10, 0}});
    window.view()->resetTransform();
    const QColor background(43, 47, 51);
    const auto at = [&](int x, int y) {
        return window.view()->viewport()->grab().toImage().pixelColor(window.view()->mapFromScene(x, y));
    };
    QCOMPARE(at(70, 20), background);
    QCOMPARE(at(20, 60), background);
    QCOMPARE(at(20, 20), QColor(10, 10, 10));
    // Where a tile was.
    window.tiles()[0]->setPos(0, -200);
    QCOMPARE(at(20, 20), background);
    window.tiles()[1]->hide();
    QCOMPARE(at(100, 20), background);
}

QTEST_MAIN(TestArranging)
#include "tst_arranging.moc"
