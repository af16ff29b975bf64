// SPDX-License-Identifier: Apache-2.0
#include <QGraphicsEffect>
#include <QGraphicsView>
#include <QScreen>
#include <QtTest>
#include <cmath>

#include "marks/arcmark.h"
#include "marks/circlemark.h"
#include "marks/ellipsemark.h"
#include "marks/hlinemark.h"
#include "marks/linemark.h"
#include "marks/markgeometry.h"
#include "marks/polygonmark.h"
#include "marks/rectanglemark.h"
#include "marks/textmark.h"
#include "marks/vlinemark.h"
#include "support/goldenpicture.h"
#include "support/markfigures.h"
#include "support/marktest.h"
#include "support/workingfolder.h"

/// How the ten kinds of mark are drawn and captioned: golden pictures, no paint outside their rectangles, no
/// trails.
class TestMarkPictures : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void pictures_data();
    void pictures();
    void captionTexts();
    void lengthsAreSinglePrecision();
    void captionPlaces();
    void captionsNameTheUnit_data();
    void captionsNameTheUnit();
    void measuresAreDrawnOnlyWhenAskedFor_data();
    void measuresAreDrawnOnlyWhenAskedFor();
    void boundingRectCoversThePaint_data();
    void boundingRectCoversThePaint();
    void boundingRectOfACircle();
    void noTrails_data();
    void noTrails();
    void acrossAGrowingScene_data();
    void acrossAGrowingScene();
    void acrossALargerScene();
    void firstClickOfACircleIsADot();
    void absurdCoordinatesAreNotPainted_data();
    void absurdCoordinatesAreNotPainted();
};

void TestMarkPictures::initTestCase() {
    QVERIFY(useKnownLetters());
}

void TestMarkPictures::pictures_data() {
    QTest::addColumn<QString>("line");
    QTest::addColumn<double>("zoom");
    for (const auto& figure : kFigures) {
        QTest::addRow("%s", figure.name) << QString::fromLatin1(figure.line) << 1.0;
        QTest::addRow("%s at a quarter", figure.name) << QString::fromLatin1(figure.line) << 0.25;
    }
    QTest::newRow("text") << QStringLiteral("Text #ff0000 1 1 | 20 180 0 0 | 0 x 0 y 1 0 0 0") << 1.0;
    QTest::newRow("text at a quarter")
        << QStringLiteral("Text #ff0000 1 1 | 20 180 0 0 | 0 x 0 y 1 0 0 0") << 0.25;
}

/// Against pictures that were looked at. BIVISTA_NEW_PICTURES=folder writes new ones there, to be looked at.
void TestMarkPictures::pictures() {
    QFETCH(QString, line);
    QFETCH(double, zoom);
    InteractiveScene scene(nullptr, 1);
    // At a quarter, the same picture shows four times as much of the scene.
    scene.setSceneRect(QRectF(kScene.topLeft(), kScene.size() / zoom));
    scene.viewZoom = zoom;
    if (line.startsWith(QLatin1String("Text"))) {
        scene.addRect(0, 0, 1, 1, Qt::NoPen);
        scene.restoreBarcodeMark(line);
    } else {
        QVERIFY(addFromLine(scene, line));
    }
    const QImage picture = rendered(scene, zoom);
    const QByteArray row(QTest::currentDataTag());
    compareWithGolden(picture, QStringLiteral(TEST_DATA "/marks"),
                      !row.startsWith("ellipse") && !row.startsWith("coordinates"));
}

template <class M>
class Probe : public M {
public:
    using M::M;
    /// "text @ x1,y1 x2,y2" of each caption: the area as it was asked for, screen px.
    QStringList described() const {
        QStringList list;
        const auto captions = this->captions();
        for (const auto& caption : captions) {
            const QRectF area = caption.area.normalized();
            list.append(QStringLiteral("%1 @ %2,%3 %4,%5")
                            .arg(caption.text)
                            .arg(area.left())
                            .arg(area.top())
                            .arg(area.right())
                            .arg(area.bottom()));
        }
        return list;
    }
};

/// A complete mark of the given points, and what its captions say.
template <class M>
static QStringList captionsOf(InteractiveScene& scene, std::initializer_list<QPointF> points) {
    Probe<M> mark(&scene);
    for (const QPointF point : points)
        press(mark, point);
    return mark.described();
}

void TestMarkPictures::captionTexts() {
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(0, 0, 1000, 800);
    const auto text = [](const QStringList& captions) { return captions.join(QLatin1Char(';')); };
    const auto onlyTexts = [](QStringList captions) {
        for (QString& caption : captions)
            caption = caption.section(QStringLiteral(" @"), 0, 0);
        return captions.join(QLatin1Char(';'));
    };
    QCOMPARE(text(captionsOf<CircleMark>(scene, {{130, 100}, {100, 130}, {70, 100}})),
             QStringLiteral(" O(100.00,100.00)[pix] @ 100,68 250,84; R:30.00[pix] @ 110,100 220,120"));
    QCOMPARE(onlyTexts(captionsOf<ArcMark>(scene, {{100, 100}, {200, 100}, {100, 20}})),
             QStringLiteral("90.00'"));
    QCOMPARE(onlyTexts(captionsOf<ArcMark>(scene, {{100, 100}, {200, 100}, {100, 180}})),
             QStringLiteral("90.00'"));
    QCOMPARE(onlyTexts(captionsOf<ArcMark>(scene, {{100, 100}, {180, 40}, {20, 40}})),
             QStringLiteral("106.26'"));
    QCOMPARE(onlyTexts(captionsOf<LineMark>(scene, {{100, 100}, {130, 140}})), QStringLiteral("50.00[pix]"));
    QCOMPARE(text(captionsOf<RectangleMark>(scene, {{300, 200}, {100, 250}})),
             QStringLiteral("W:200.00 H:50.00[pix] @ 280,160 450,180;X:300.00 Y:200.00 @ 280,180 450,200"));
    QCOMPARE(text(captionsOf<EllipseMark>(scene, {{300, 200}, {100, 250}})),
             QStringLiteral("W:200.00 H:50.00[pix] @ 280,160 450,180"));
    QCOMPARE(onlyTexts(captionsOf<HLineMark>(scene, {{11, 22}})), QStringLiteral("22.00[pix]"));
    QCOMPARE(onlyTexts(captionsOf<VLineMark>(scene, {{11, 22}})), QStringLiteral("11.00[pix]"));
    QCOMPARE(onlyTexts(captionsOf<PolygonMark>(scene, {{0, 0}, {100, 0}, {100, 50}, {0, 50}, {1, 1}})),
             QStringLiteral("S:5000.00[pix^2]"));
    // Units and scale; areas take the scale twice.
    scene.unitScale = 0.5;
    scene.unit = 1;
    QCOMPARE(onlyTexts(captionsOf<LineMark>(scene, {{100, 100}, {130, 140}})), QStringLiteral("25.00[mm]"));
    QCOMPARE(onlyTexts(captionsOf<CircleMark>(scene, {{130, 100}, {100, 130}, {70, 100}})),
             QStringLiteral(" O(50.00,50.00)[mm]; R:15.00[mm]"));
    QCOMPARE(onlyTexts(captionsOf<RectangleMark>(scene, {{300, 200}, {100, 250}})),
             QStringLiteral("W:100.00 H:25.00[mm];X:150.00 Y:100.00"));
    scene.unit = 9;
    QCOMPARE(onlyTexts(captionsOf<PolygonMark>(scene, {{0, 0}, {100, 0}, {100, 50}, {0, 50}, {1, 1}})),
             QStringLiteral("S:1250.00[um^2]"));
    // An angle has no unit.
    QCOMPARE(onlyTexts(captionsOf<ArcMark>(scene, {{100, 100}, {200, 100}, {100, 20}})),
             QStringLiteral("90.00'"));
}

/// Lengths are single precision: 0.1 from a place far out is not 0.10 any more.
void TestMarkPictures::lengthsAreSinglePrecision() {
    InteractiveScene scene(nullptr, 1);
    QVERIFY(captionsOf<RectangleMark>(scene, {{20000, 0}, {20000.12, 50}})[0].startsWith(
        QStringLiteral("W:0.12 ")));
    QVERIFY(!captionsOf<RectangleMark>(scene, {{900000.04, 0}, {900000.12, 50}})[0].startsWith(
        QStringLiteral("W:0.08 ")));
}

void TestMarkPictures::captionPlaces() {
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(0, 0, 1000, 800);
    const auto centre = [](const QString& described) {
        const QStringList numbers = described.section(QStringLiteral(" @ "), 1)
                                        .replace(QLatin1Char(' '), QLatin1Char(','))
                                        .split(QLatin1Char(','));
        return QPointF((numbers[0].toDouble() + numbers[2].toDouble()) / 2,
                       (numbers[1].toDouble() + numbers[3].toDouble()) / 2);
    };
    // Inside the scene's edges wherever the line is.
    for (const auto& [a, b] :
         {std::pair(QPointF(5, 5), QPointF(600, 5)), std::pair(QPointF(5, 5), QPointF(5, 600)),
          std::pair(QPointF(700, 5), QPointF(990, 5)), std::pair(QPointF(2, 30), QPointF(60, 2)),
          std::pair(QPointF(0, 0), QPointF(80, 80))}) {
        const QPointF place = centre(captionsOf<LineMark>(scene, {a, b})[0]);
        QVERIFY2(place.x() >= 40 && place.y() >= 10,
                 qPrintable(QStringLiteral("%1 %2").arg(place.x()).arg(place.y())));
    }
    QVERIFY(centre(captionsOf<LineMark>(scene, {{100, 400}, {500, 400}})[0]).y() < 400);
    QCOMPARE(centre(captionsOf<ArcMark>(scene, {{100, 100}, {200, 100}, {100, 20}})[0]), QPointF(170, 120));
    // Beside the rightmost vertex, where there is room, else beside the leftmost.
    QCOMPARE(centre(captionsOf<PolygonMark>(scene, {{500, 100}, {840, 200}, {500, 300}, {501, 101}})[0]),
             QPointF(910, 220));
    QCOMPARE(centre(captionsOf<PolygonMark>(scene, {{500, 100}, {860, 200}, {500, 300}, {501, 101}})[0]),
             QPointF(450, 120));
    // Constant on screen: at zoom 0.25 the same offsets from a quarter of the coordinates.
    scene.viewZoom = 0.25;
    QCOMPARE(centre(captionsOf<ArcMark>(scene, {{100, 100}, {200, 100}, {100, 20}})[0]), QPointF(95, 45));
    QCOMPARE(captionsOf<CircleMark>(scene, {{130, 100}, {100, 130}, {70, 100}})[1],
             QStringLiteral(" R:30.00[pix] @ 35,25 145,45"));
}

void TestMarkPictures::captionsNameTheUnit_data() {
    QTest::addColumn<QString>("line");
    for (const auto& figure : kFigures) {
        const QString line = QString::fromLatin1(figure.line);
        if (line.section(QLatin1Char(' '), 3, 3) == QLatin1String("1") &&
            !line.startsWith(QLatin1String("Coord")) && !line.startsWith(QLatin1String("Arc")))
            QTest::newRow(figure.name) << line;
    }
}

/// Texts cannot be read back from a picture: that unit and factor are in them shows in that they change it.
void TestMarkPictures::captionsNameTheUnit() {
    QFETCH(QString, line);
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(kScene);
    QVERIFY(addFromLine(scene, line));
    const QImage inPixels = rendered(scene);
    scene.unit = 1;
    const QImage inMillimetres = rendered(scene);
    scene.unit = 7;
    const QImage inMicrometres = rendered(scene);
    scene.unitScale = 0.5;
    const QImage halved = rendered(scene);
    QVERIFY(inPixels != inMillimetres);
    QVERIFY(inMillimetres != inMicrometres);
    QVERIFY(inMicrometres != halved);
}

void TestMarkPictures::measuresAreDrawnOnlyWhenAskedFor_data() {
    QTest::addColumn<QString>("line");
    QTest::addColumn<bool>("differs");
    for (const auto& figure : kFigures) {
        const QString line = QString::fromLatin1(figure.line);
        QTest::newRow(figure.name) << line << !line.startsWith(QLatin1String("Coord"));
    }
}

void TestMarkPictures::measuresAreDrawnOnlyWhenAskedFor() {
    QFETCH(QString, line);
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(kScene);
    Mark* mark = addFromLine(scene, line);
    mark->showMeasure = 1;
    const QImage with = rendered(scene);
    mark->showMeasure = 0;
    const QImage without = rendered(scene);
    QTEST(with != without, "differs");
    QVERIFY(!inked(without).isNull());
}

void TestMarkPictures::boundingRectCoversThePaint_data() {
    QTest::addColumn<QString>("line");
    QTest::addColumn<double>("zoom");
    for (const auto& figure : kFigures) {
        for (const double zoom : {1.0, 0.25, 3.0}) {
            QTest::addRow("%s at %g", figure.name, zoom) << QString::fromLatin1(figure.line) << zoom;
        }
    }
}

void TestMarkPictures::boundingRectCoversThePaint() {
    QFETCH(QString, line);
    QFETCH(double, zoom);
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(0, 0, 1, 1);  // what covers the whole scene has to come from the figure itself
    scene.viewZoom = zoom;
    const auto mark = markFromLine(line, &scene);
    mark->showMeasure = 1;
    // Painted with nothing around it that could clip.
    const QPointF origin(-900, -900);
    QImage image(2400, 2400, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    painter.translate(-origin);
    mark->paint(&painter, nullptr, nullptr);
    painter.end();
    const QRect ink = inked(image).translated(origin.toPoint());
    QVERIFY(!ink.isNull());
    QRectF bounds = mark->boundingRect();
    // An ellipse's is that of its corners; its effect says what it covers.
    if (const QGraphicsEffect* effect = mark->graphicsEffect())
        bounds = effect->boundingRectFor(bounds);
    // Half a pixel: an inked pixel is counted whole.
    QVERIFY2(bounds.adjusted(-0.5, -0.5, 0.5, 0.5).contains(QRectF(ink)),
             qPrintable(QStringLiteral("ink %1..%2 x %3..%4")
                            .arg(ink.left())
                            .arg(ink.right())
                            .arg(ink.top())
                            .arg(ink.bottom())));
}

void TestMarkPictures::boundingRectOfACircle() {
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(20, 10, 400, 300);
    const auto circle = markFromLine(QStringLiteral("Circle #c0a000 1 0 | 120 150 260 150 190 80"), &scene);
    QCOMPARE(circle->boundingRect(), QRectF(0, 0, 400, 300));  // from the origin, whatever the scene's corner
    scene.setSceneRect(0, 0, 800, 600);
    QCOMPARE(circle->boundingRect(), QRectF(0, 0, 800, 600));
    // With its measures, which are within the scene.
    circle->showMeasure = true;
    QCOMPARE(circle->boundingRect(), QRectF(0, 0, 800, 600));
}

void TestMarkPictures::noTrails_data() {
    QTest::addColumn<QString>("line");
    for (const auto& figure : kFigures)
        QTest::newRow(figure.name) << QString::fromLatin1(figure.line);
    QTest::newRow("text") << QStringLiteral("Text #ff0000 1 1 | 60 180 0 0 | 0 x 0 y 1 0 0 0");
}

/// After a move, a view that repaints only what it was told to shows what a fresh one shows.
void TestMarkPictures::noTrails() {
    QFETCH(QString, line);
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(kScene);
    Mark* mark = nullptr;
    if (line.startsWith(QLatin1String("Text"))) {
        auto text = TextMark::fromText(line, &scene);
        mark = text.release();
        scene.addItem(mark);
    } else {
        mark = addFromLine(scene, line);
    }
    mark->showMeasure = 1;
    const auto open = [&scene](QGraphicsView& view) {
        view.setViewportUpdateMode(QGraphicsView::MinimalViewportUpdate);
        view.setFrameShape(QFrame::NoFrame);
        view.resize(kScene.size().toSize());
        view.show();
        return QTest::qWaitForWindowExposed(&view);
    };
    // What is on the screen: grabbing the widget would paint it anew.
    const auto onScreen = [](const QGraphicsView& view) {
        return view.screen()->grabWindow(view.winId()).toImage().convertToFormat(QImage::Format_RGB32);
    };
    QGraphicsView watched(&scene);
    QVERIFY(open(watched));
    QTRY_VERIFY(inked(onScreen(watched)).width() > 20);
    const QImage before = onScreen(watched);
    for (int step = 0; step < 4; ++step) {
        mark->shiftBy(7, 5);
        QCoreApplication::processEvents();
    }
    QTRY_VERIFY(onScreen(watched) != before);
    QGraphicsView fresh(&scene);
    QVERIFY(open(fresh));
    QTRY_VERIFY(inked(onScreen(fresh)).width() > 20);
    QTRY_COMPARE(onScreen(watched), onScreen(fresh));
}

void TestMarkPictures::acrossAGrowingScene_data() {
    QTest::addColumn<QString>("line");
    QTest::addColumn<int>("left");
    for (const auto& figure : kFigures) {
        for (const int left : {0, -100}) {
            QTest::addRow("%s, tile at %d", figure.name, left) << QString::fromLatin1(figure.line) << left;
        }
    }
}

/// A scene without a rectangle of its own asks its items how large it is, and those that go across it depend
/// on it: that must come to rest.
void TestMarkPictures::acrossAGrowingScene() {
    QFETCH(QString, line);
    QFETCH(int, left);
    const WorkingFolder folder;
    InteractiveScene scene(nullptr, 1);
    QGraphicsView view(&scene);
    auto* tile = scene.addRect(left, 0, 500, 400, Qt::NoPen, Qt::lightGray);
    view.resize(400, 300);
    view.show();
    QVERIFY(QTest::qWaitForWindowExposed(&view));
    QVERIFY(WorkingFolder::write(QStringLiteral("mark0.txt"), line.toLatin1() + "\r\n"));
    scene.loadMarks(0);
    scene.setMode(7);
    QCoreApplication::processEvents();
    const QRectF rect = scene.sceneRect();
    QVERIFY(rect.width() < 1000 && rect.height() < 1000);
    QCOMPARE(scene.wholeRect(), QRectF(0, 0, 500, 400));
    QCoreApplication::processEvents();
    QCOMPARE(scene.sceneRect(), rect);
    tile->setRect(left, 0, 700, 400);
    QCoreApplication::processEvents();
    QTRY_COMPARE(scene.wholeRect(), QRectF(0, 0, 700, 400));
    QVERIFY(scene.sceneRect().width() < 1200);
}

/// When the scene becomes larger, lines across it do.
void TestMarkPictures::acrossALargerScene() {
    const WorkingFolder folder;
    InteractiveScene scene(nullptr, 1);
    scene.addRect(0, 0, 100, 100, Qt::NoPen);
    scene.setSceneRect(0, 0, 100, 100);
    QVERIFY(WorkingFolder::write(QStringLiteral("mark0.txt"),
                                 "HLine #000000 1 0 | 0 40\r\nVLine #000000 1 0 | 40 0\r\n"));
    scene.loadMarks(0);
    QGraphicsView view(&scene);
    view.setFrameShape(QFrame::NoFrame);
    view.resize(400, 300);
    view.show();
    QVERIFY(QTest::qWaitForWindowExposed(&view));
    QCoreApplication::processEvents();
    scene.setSceneRect(0, 0, 400, 300);
    const auto shown = [&] { return view.screen()->grabWindow(view.winId()).toImage(); };
    QTRY_VERIFY(qGray(shown().pixel(390, 40)) < 128 || qGray(shown().pixel(390, 39)) < 128);
    QTRY_VERIFY(qGray(shown().pixel(40, 290)) < 128 || qGray(shown().pixel(39, 290)) < 128);
    int covering = 0;
    for (const QGraphicsItem* item : scene.items())
        covering += item->sceneBoundingRect().contains(QRectF(0, 0, 400, 300)) ? 1 : 0;
    QCOMPARE(covering, 2);
}

void TestMarkPictures::firstClickOfACircleIsADot() {
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(kScene);
    auto* mark = new CircleMark(&scene);
    scene.addItem(mark);
    press(*mark, {100, 100});
    const QRect ink = inked(rendered(scene));
    QVERIFY(!ink.isNull());
    QVERIFY(QRect(98, 98, 6, 6).contains(ink));
}

void TestMarkPictures::absurdCoordinatesAreNotPainted_data() {
    QTest::addColumn<QString>("line");
    for (const char* number : {"nan", "inf", "-inf", "1e308", "-1e308", "1e300", "3e9"}) {
        for (const char* pattern :
             {"Line #000000 1 1 | % % 3 4", "Circle #000000 1 1 | % % 3 4 9 9",
              "Arc #000000 1 1 | % 1 % 4 5 6", "Rectangle #000000 1 1 % | % 2 3 4",
              "Ellipse #000000 1 1 % | 1 % 3 4", "HLine #000000 1 1 | % %", "VLine #000000 1 1 | % %",
              "Coordinates #000000 1 1 | % %", "Polygon #000000 1 1 2 | 1 % 3 4 "}) {
            const QString line =
                QString::fromLatin1(pattern).replace(QLatin1Char('%'), QLatin1String(number));
            QTest::newRow(qPrintable(line)) << line;
        }
    }
}

void TestMarkPictures::absurdCoordinatesAreNotPainted() {
    QFETCH(QString, line);
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(kScene);
    Mark* mark = addFromLine(scene, line);
    QVERIFY(mark);
    QVERIFY(inked(rendered(scene)).isNull());
    const QRectF bounds = mark->boundingRect();
    QVERIFY(std::isfinite(bounds.width()) && std::isfinite(bounds.height()) && bounds.width() < 1e7);
    mark->shiftBy(1, 1);
    mark->toText();
}

QTEST_MAIN(TestMarkPictures)
#include "tst_markpictures.moc"
