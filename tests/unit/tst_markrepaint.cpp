// SPDX-License-Identifier: Apache-2.0
#include <QGraphicsView>
#include <QScreen>
#include <QtTest>

#include "marks/ellipsemark.h"
#include "support/smallpixels.h"
#include "support/marktest.h"
#include "support/workingfolder.h"

namespace {

const QRectF kScene(0, 0, 400, 300);

/// A view that repaints only what it is told to.
class WatchedView : public QGraphicsView {
public:
    explicit WatchedView(QGraphicsScene* scene, double zoom = 1.0) : QGraphicsView(scene) {
        setViewportUpdateMode(MinimalViewportUpdate);
        setFrameShape(QFrame::NoFrame);
        setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        scale(zoom, zoom);
        resize(kScene.size().toSize());
        show();
    }
    bool isOpen() { return QTest::qWaitForWindowExposed(this); }
    /// What is on the screen: grabbing the widget would paint it anew.
    QImage shown() const {
        QCoreApplication::processEvents();
        return screen()->grabWindow(winId()).toImage().convertToFormat(QImage::Format_RGB32);
    }
    /// Wipes it clean behind the view's back and repaints it in pieces of `size`.
    void repaintInPieces(QSize size) {
        for (int y = 0; y < height(); y += size.height()) {
            for (int x = 0; x < width(); x += size.width())
                viewport()->repaint(QRect(QPoint(x, y), size));
        }
    }
};

bool hasInk(const QImage& image) {
    const QImage blank = [&] {
        QImage white(image.size(), QImage::Format_RGB32);
        white.fill(Qt::white);
        return white;
    }();
    return image != blank;
}

}  // namespace

/// Marks whose painting reaches beyond their rectangle, in a view that repaints parts of itself.
class TestMarkRepaint : public QObject {
    Q_OBJECT

private slots:
    // First: after many other letters Qt makes large ones anew, otherwise hinted, when a font is asked for.
    void lettersAreNotThoseOfTheWidget_data();
    void lettersAreNotThoseOfTheWidget();
    void initTestCase();
    void rectangleIsThatOfTheCorners_data();
    void rectangleIsThatOfTheCorners();
    void piecesMakeTheWhole_data();
    void piecesMakeTheWhole();
    void movingLeavesNoTrails_data();
    void movingLeavesNoTrails();
    void removingLeavesNothing();
    void nothingElseIsInTheScene();
    void removingAfterTheZoomChanged();
    void draggedOverPicturesThatChange_data();
    void draggedOverPicturesThatChange();
    /// All that is here on screens with more pixels than the desktop says.
    void smallPixels_data() { addPixelRatios(); }
    void smallPixels() { runWithPixelRatio(); }
};

void TestMarkRepaint::initTestCase() {
    QVERIFY(useKnownLetters());
}

void TestMarkRepaint::rectangleIsThatOfTheCorners_data() {
    QTest::addColumn<QString>("line");
    QTest::addColumn<QRectF>("rect");
    const auto row = [](const char* line, const QRectF& rect) {
        QTest::newRow(line) << QString::fromLatin1(line) << rect;
    };
    row("Ellipse #ff0000 1 0 0 | 100 100 300 200", QRectF(100, 100, 200, 100));
    row("Ellipse #ff0000 1 0 0 | 300 200 100 100", QRectF(100, 100, 200, 100));
    row("Ellipse #ff0000 1 1 0 | 100 200 300 100", QRectF(100, 100, 200, 100));
    row("Ellipse #ff0000 9 1 45 | 100 100 300 200", QRectF(100, 100, 200, 100));
    row("Ellipse #ff0000 1 1 30 | 5 5 5 5", QRectF(5, 5, 0, 0));
    row("Ellipse #ff0000 1 1 30 | -7.5 5 5 6.25", QRectF(-7.5, 5, 12.5, 1.25));
}

void TestMarkRepaint::rectangleIsThatOfTheCorners() {
    QFETCH(QString, line);
    QFETCH(QRectF, rect);
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(kScene);
    for (const double zoom : {1.0, 0.1, 4.0}) {
        scene.viewZoom = zoom;
        const auto mark = markFromLine(line, &scene);
        QCOMPARE(mark->boundingRect(), rect);
        mark->shiftBy(10, -20);
        QCOMPARE(mark->boundingRect(), rect.translated(10, -20));
    }
}

void TestMarkRepaint::piecesMakeTheWhole_data() {
    QTest::addColumn<QString>("line");
    QTest::addColumn<double>("zoom");
    for (const char* line :
         {"Ellipse #ff0000 1 0 45 | 100 140 300 160", "Ellipse #ff0000 1 1 90 | 100 140 300 160",
          "Ellipse #ff0000 1 1 0 | 150 100 160 200", "Ellipse #ff0000 1 1 0 | 150 100 150 100",
          "Ellipse #ff0000 1 0 90 | 100 150 300 150", "Ellipse #ff0000 1 0 0 | 100 100 300 200"}) {
        for (const double zoom : {1.0, 0.25, 2.0})
            QTest::addRow("%s at %g", line, zoom) << QString::fromLatin1(line) << zoom;
    }
}

void TestMarkRepaint::piecesMakeTheWhole() {
    QFETCH(QString, line);
    QFETCH(double, zoom);
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(QRectF(kScene.topLeft(), kScene.size() / zoom));
    scene.viewZoom = zoom;
    // Enough others that the scene keeps its items sorted by place.
    for (int i = 0; i < 300; ++i)
        scene.addRect(i % 20 * 20 / zoom, i / 20 * 20 / zoom, 1, 1, Qt::NoPen);
    WatchedView view(&scene, zoom);
    QVERIFY(view.isOpen());
    QTRY_VERIFY(!hasInk(view.shown()));
    auto mark = markFromLine(line, &scene);
    if (zoom != 1.0)  // the same place on the screen
        mark = markFromLine(line.section(QLatin1Char('|'), 0, 0) +
                                QStringLiteral("| %1 %2 %3 %4")
                                    .arg(line.section(QLatin1Char(' '), 6, 6).toDouble() / zoom)
                                    .arg(line.section(QLatin1Char(' '), 7, 7).toDouble() / zoom)
                                    .arg(line.section(QLatin1Char(' '), 8, 8).toDouble() / zoom)
                                    .arg(line.section(QLatin1Char(' '), 9, 9).toDouble() / zoom),
                            &scene);
    QImage wanted = rendered(scene, zoom);
    {
        WatchedView fresh(&scene, zoom);
        scene.addItem(mark.get());
        QVERIFY(fresh.isOpen());
        fresh.viewport()->repaint();
        wanted = fresh.shown();
    }
    QVERIFY(hasInk(wanted));
    // Appearing is a change of its whole.
    QTRY_COMPARE(view.shown(), wanted);
    for (const QSize size : {QSize(16, 16), QSize(400, 7), QSize(9, 300)}) {
        view.repaintInPieces(size);
        QCOMPARE(view.shown(), wanted);
    }
    scene.removeItem(mark.get());
}

void TestMarkRepaint::movingLeavesNoTrails_data() {
    piecesMakeTheWhole_data();
}

void TestMarkRepaint::movingLeavesNoTrails() {
    QFETCH(QString, line);
    QFETCH(double, zoom);
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(QRectF(kScene.topLeft(), kScene.size() / zoom));
    scene.viewZoom = zoom;
    for (int i = 0; i < 300; ++i)
        scene.addRect(i % 20 * 20 / zoom, i / 20 * 20 / zoom, 1, 1, Qt::NoPen);
    Mark* mark = addFromLine(scene, line);
    WatchedView view(&scene, zoom);
    QVERIFY(view.isOpen());
    for (int step = 0; step < 6; ++step) {
        if (step == 4)
            mark->showMeasure = 1, mark->update();
        mark->shiftBy(7 / zoom, 5 / zoom);
        const QImage moved = view.shown();
        WatchedView fresh(&scene, zoom);
        QVERIFY(fresh.isOpen());
        fresh.viewport()->repaint();
        QTRY_COMPARE(moved, fresh.shown());
    }
}

void TestMarkRepaint::removingLeavesNothing() {
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(kScene);
    WatchedView view(&scene);
    QVERIFY(view.isOpen());
    std::unique_ptr<Mark> mark(
        addFromLine(scene, QStringLiteral("Ellipse #ff0000 1 1 45 | 100 140 300 160")));
    QTRY_VERIFY(hasInk(view.shown()));
    scene.removeItem(mark.get());
    QTRY_VERIFY(!hasInk(view.shown()));
}

void TestMarkRepaint::nothingElseIsInTheScene() {
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(kScene);
    Mark* mark = addFromLine(scene, QStringLiteral("Ellipse #ff0000 1 1 45 | 100 140 300 160"));
    QCOMPARE(scene.items(), QList<QGraphicsItem*>{mark});
    QVERIFY(mark->childItems().isEmpty());
    QCOMPARE(scene.items(QPointF(200, 150)), QList<QGraphicsItem*>{mark});
}

/// What captions and pens cover changes with the zoom, which nobody announces: nothing may be left of a mark.
void TestMarkRepaint::removingAfterTheZoomChanged() {
    const WorkingFolder folder;
    QVERIFY(WorkingFolder::write(QStringLiteral("mark0.txt"),
                                 "Ellipse #ff0000 1 1 45 | -400 -340 -300 -200\n"
                                 "Arc #ff0000 1 1 | -400 -400 -300 -300 -350 -200\n"
                                 "Coordinates #0000ff 1 1 | -400 -400\n"
                                 "Line #ff0000 1 1 | -400 -400 -100 -200\n"));
    for (const double after : {0.01, 1.0, 8.0}) {
        InteractiveScene scene(nullptr, 1);
        scene.setSceneRect(-2000, -2000, 4000, 4000);
        for (int i = 0; i < 300; ++i)
            scene.addRect(i % 20 * 200 - 2000, i / 20 * 200 - 2000, 1, 1, Qt::NoPen);
        WatchedView view(&scene, 0.1);
        QVERIFY(view.isOpen());
        for (const double before : {0.01, 1.0, 0.01}) {
            scene.viewZoom = before;
            scene.loadMarks(0);
            QCOMPARE(scene.markCount(), 4);
            view.shown();
            scene.items(QPointF(-400, -400));
            scene.viewZoom = after;
            scene.clearMarks();
            view.viewport()->repaint();
            QCOMPARE(scene.items(QRectF(-2000, -2000, 4000, 4000)).size(), 300);
            view.shown();
        }
    }
}

void TestMarkRepaint::draggedOverPicturesThatChange_data() {
    QTest::addColumn<QString>("line");
    QTest::addColumn<double>("scale");
    // Without slanted lines: where Qt steps aside in them depends on the part that is painted.
    for (const char* line :
         {"Line #ff0000 3 1 | 60 120 300 120", "Circle #c0a000 1 1 | 120 150 260 150 190 80",
          "Arc #ff0000 1 1 | 150 150 250 150 150 240", "Rectangle #0000ff 1 1 0 | 120 100 260 200",
          "Ellipse #ff0000 1 1 -30 | 100 100 300 200", "Polygon #00a000 3 1 4 | 60 60 180 60 180 220 60 220 ",
          "HLine #00a000 1 1 | 200 150", "VLine #00a000 1 1 | 200 150",
          "Coordinates #0000ff 1 1 | 199.5 150.25", "Text"}) {
        for (const double scale : {0.37, 1.0, 1.7})
            QTest::addRow("%s at %g", line, scale) << QString::fromLatin1(line) << scale;
    }
}

/// As in the window: the view has a scale of its own, and the pictures below come one at a time.
void TestMarkRepaint::draggedOverPicturesThatChange() {
    QFETCH(QString, line);
    QFETCH(double, scale);
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(kScene);
    QPixmap picture(200, 300);
    picture.fill(Qt::lightGray);
    QGraphicsPixmapItem* tiles[] = {scene.addPixmap(picture), scene.addPixmap(picture)};
    tiles[1]->setPos(200, 0);
    Mark* mark = nullptr;
    if (line == QLatin1String("Text")) {
        scene.setMode(kBarcodeTextMark);
        const auto items = scene.items();
        for (QGraphicsItem* item : items) {
            if (auto* found = dynamic_cast<Mark*>(item))
                mark = found;
        }
        press(*mark, {30.3, 150.7});
    } else {
        mark = addFromLine(scene, line);
    }
    WatchedView view(&scene, scale);
    WatchedView fresh(&scene, scale);
    QVERIFY(view.isOpen() && fresh.isOpen());
    for (int step = 0; step < 9; ++step) {
        // By the item's place, as Qt drags it, and by its points.
        if (step % 2 == 0)
            mark->moveBy(1.3, -0.7);
        else
            mark->shiftBy(0.9, 1.1);
        view.shown();
        picture.fill(step % 2 == 0 ? Qt::white : Qt::lightGray);
        tiles[step % 3 == 0 ? 0 : 1]->setPixmap(picture);
        const QImage seen = view.shown();
        fresh.viewport()->repaint();
        QCOMPARE(seen, fresh.shown());
    }
}

void TestMarkRepaint::lettersAreNotThoseOfTheWidget_data() {
    QTest::addColumn<QString>("line");
    QTest::newRow("caption") << QStringLiteral("Line #ff0000 1 1 | 60 200 300 120");
    QTest::newRow("overlay") << QString();
}

/// A view's letters may be other ones than those of a picture that is saved; those of the marks are not.
void TestMarkRepaint::lettersAreNotThoseOfTheWidget() {
    QFETCH(QString, line);
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(kScene);
    if (line.isEmpty()) {
        scene.restoreBarcodeMark(QStringLiteral("Text #ff0000 1 1 | 20 100 300 20 | 0 yyyy MM 0  1 0 0 0"));
    } else {
        addFromLine(scene, line);
    }
    const auto shown = [&scene](bool isChanged) {
        WatchedView view(&scene);
        if (isChanged) {
            QFont other(QStringLiteral("DejaVu Serif"), 15, QFont::Bold, true);
            other.setUnderline(true);
            view.setFont(other);
        }
        return view.isOpen() ? view.shown() : QImage();
    };
    const QImage usual = shown(false);
    QVERIFY(hasInk(usual));
    QCOMPARE(shown(true), usual);
    const QImage saved = rendered(scene);
    QFont ofWidgets(QStringLiteral("DejaVu Serif"), 15, QFont::Bold);
    QApplication::setFont(ofWidgets, "QWidget");
    QCOMPARE(rendered(scene), saved);
    QCOMPARE(shown(false), usual);
    QApplication::setFont(QFont(QStringLiteral("DejaVu Sans"), 9), "QWidget");
}

QTEST_MAIN(TestMarkRepaint)
#include "tst_markrepaint.moc"
