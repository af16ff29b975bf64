// SPDX-License-Identifier: Apache-2.0
#include <QGraphicsEffect>
#include <QGraphicsView>
#include <QScreen>
#include <QScrollBar>
#include <QtTest>
#include <limits>

#include "marks/arcmark.h"
#include "marks/circlemark.h"
#include "marks/ellipsemark.h"
#include "marks/hlinemark.h"
#include "marks/linemark.h"
#include "marks/markgeometry.h"
#include "marks/polygonmark.h"
#include "marks/rectanglemark.h"
#include "marks/vlinemark.h"
#include "support/figuretest.h"

Q_DECLARE_METATYPE(Measure)

namespace {

/// A plane in which a px is `right` mm wide and `down` mm high, and the origin is elsewhere.
InteractiveScene::ToPlane plane(double right, double down, QPointF origin = {}) {
    return [=](const QVector<QPointF>& points) {
        PlaneFigure figure;
        for (const QPointF point : points)
            figure.points.append({(point.x() + origin.x()) * right, (point.y() + origin.y()) * down});
        figure.unit = 1;
        figure.pixel = std::max(right, down);
        return figure;
    };
}

QImage onScreen(const QGraphicsView& view) {
    return view.screen()->grabWindow(view.winId()).toImage().convertToFormat(QImage::Format_RGB32);
}

bool open(QGraphicsView& view) {
    view.setViewportUpdateMode(QGraphicsView::MinimalViewportUpdate);
    view.setFrameShape(QFrame::NoFrame);
    view.setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    view.setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    view.resize(400, 300);
    view.show();
    return QTest::qWaitForWindowExposed(&view);
}

/// Number of px of a colour that is mostly red.
int inkOf(const QImage& image) {
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            count += qGreen(image.pixel(x, y)) < 128 ? 1 : 0;
    }
    return count;
}

/// Painted with nothing around it that could clip: the image's corner is the scene's (-900, -900).
QImage paintedAlone(Mark& mark) {
    QImage image(2400, 2400, QImage::Format_RGB32);
    image.fill(Qt::white);
    QPainter painter(&image);
    painter.translate(900, 900);
    mark.paint(&painter, nullptr, nullptr);
    return image;
}

/// A mark of class M as the figure is, and what its captions say.
template <class M>
class Probe : public M {
public:
    Probe(MarkSurface* scene, const Figure& figure) : M(scene) { this->setFigure(figure); }
    QString texts() const {
        QStringList list;
        for (const auto& caption : this->captions())
            list << caption.text;
        return list.join(QLatin1Char(';'));
    }
};

}  // namespace

/// What figures measure, in px and in a plane, and the zoom of their own.
class TestFigureMeasures : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void measuresInPixels_data();
    void measuresInPixels();
    void measuresInAPlane_data();
    void measuresInAPlane();
    void captionTextsInAPlane();
    void captionsAreThoseOfThePlane();
    void aFigureOutsideTheSceneKnowsOfThePlane();
    void theSceneFindsWhatHasGrown();
    void boundingRectCoversThePaint_data() { addKinds(); }
    void boundingRectCoversThePaint();
    void narrowAnglesInAPlane();
    void micrometresBeyondTheDrawable();
    void honestDecimals_data();
    void honestDecimals();
    void digitsLeftOfThePoint_data();
    void digitsLeftOfThePoint();
    void planesThatAreNone_data();
    void planesThatAreNone();
    void absurdFiguresMeasureNothing_data() { addKinds(); }
    void absurdFiguresMeasureNothing();
    void anOpenPolygonMeasuresWhatItWouldBe();
    void pensGrowWithTheFiguresZoom_data() { addKinds(); }
    void pensGrowWithTheFiguresZoom();
    void overlaysKeepTheirSize();
    void zoomsThatAreNone();
    void noTrailsWhenZoomAndPlaneChange_data() { addKinds(); }
    void noTrailsWhenZoomAndPlaneChange();
};

void TestFigureMeasures::initTestCase() {
    QVERIFY(useKnownLetters());
}

// ---- measures ----------------------------------------------------------------------------------

void TestFigureMeasures::measuresInPixels_data() {
    QTest::addColumn<Figure>("value");
    QTest::addColumn<QString>("measures");
    const auto row = [](const Figure& value, const char* measures) {
        QTest::newRow(qPrintable(keywordOf(value.kind))) << value << QString::fromUtf8(measures);
    };
    row(figure(FigureKind::Line, {{0, 0}, {30, 40}}), "L 50.00 pix");
    row(figure(FigureKind::Circle, {{40, 0}, {70, 0}, {55, 15}}), "X 55.00 pix, Y 0.00 pix, R 15.00 pix");
    row(figure(FigureKind::Arc, {{0, 0}, {10, 0}, {0, 10}}), "A 90.00 \u00b0");
    row(figure(FigureKind::Rectangle, {{10, 20}, {40, 60}}, 90.0),
        "W 30.00 pix, H 40.00 pix, X 10.00 pix, Y 20.00 pix");
    row(figure(FigureKind::Ellipse, {{10, 20}, {40, 60}}, 45.0), "W 30.00 pix, H 40.00 pix");
    row(figure(FigureKind::Polygon, {{0, 0}, {10, 0}, {10, 10}}), "S 50.00 pix^2");
    row(figure(FigureKind::HLine, {{7, 8}}), "Y 8.00 pix");
    row(figure(FigureKind::VLine, {{7, 8}}), "X 7.00 pix");
}

void TestFigureMeasures::measuresInPixels() {
    QFETCH(Figure, value);
    QFETCH(QString, measures);
    InteractiveScene scene(nullptr, 1);
    QCOMPARE(told(makeFigure(value, &scene)->measures()), measures);
    // Also where no texts are drawn.
    value.showMeasure = 0;
    QCOMPARE(told(makeFigure(value, &scene)->measures()), measures);
}

void TestFigureMeasures::measuresInAPlane_data() {
    QTest::addColumn<Figure>("value");
    QTest::addColumn<QString>("measures");
    const auto row = [](const char* name, const Figure& value, const char* measures) {
        QTest::newRow(name) << value << QString::fromUtf8(measures);
    };
    // A px is 0.3 mm wide and 0.4 mm high, the origin 100 px to the left of and 50 px above the scene's. Half
    // a px is 0.2 mm at most, so one decimal can be known.
    row("line", figure(FigureKind::Line, {{0, 0}, {100, 100}}), "L 50.0 mm");
    row("level line of a kind", figure(FigureKind::Line, {{0, 0}, {100, 0}}), "L 30.0 mm");
    row("line so long that a thousandth of it is more", figure(FigureKind::Line, {{0, 0}, {10000, 10000}}),
        "L 5000 mm");
    // In mm (30, 20), (54, 20), (42, 32): a circle of radius 12 about (42, 20).
    row("circle", figure(FigureKind::Circle, {{0, 0}, {80, 0}, {40, 30}}), "X 42.0 mm, Y 20.0 mm, R 12.0 mm");
    // Arms of (30, 0) mm and (30, 40) mm.
    row("arc", figure(FigureKind::Arc, {{0, 0}, {100, 0}, {100, 100}}), "A 53.13 \u00b0");
    row("rectangle", figure(FigureKind::Rectangle, {{10, 20}, {110, 120}}),
        "W 30.0 mm, H 40.0 mm, X 33.0 mm, Y 28.0 mm");
    // By a quarter: its width is upright, 200 px of 0.4 mm; its first corner is seen at (230, 50).
    row("turned rectangle", figure(FigureKind::Rectangle, {{100, 120}, {300, 180}}, 90.0),
        "W 80.0 mm, H 18.0 mm, X 99.0 mm, Y 40.0 mm");
    row("turned ellipse", figure(FigureKind::Ellipse, {{100, 120}, {300, 180}}, 90.0),
        "W 80.0 mm, H 18.0 mm");
    // 3000 mm^2 within 30 + 100 + 104.4 mm of edge: known to 0.2 mm * 234.4 mm / 2.
    row("polygon", figure(FigureKind::Polygon, {{0, 0}, {100, 0}, {100, 250}}), "S 1500 mm^2");
    // 0.12 mm^2 within 1.2 mm: 0.12 mm^2.
    row("small polygon", figure(FigureKind::Polygon, {{0, 0}, {1, 0}, {1, 1}, {0, 1}}), "S 0.1 mm^2");
    row("level", figure(FigureKind::HLine, {{7, 8}}), "Y 23.2 mm");
    row("upright", figure(FigureKind::VLine, {{7, 8}}), "X 32.1 mm");
}

void TestFigureMeasures::measuresInAPlane() {
    QFETCH(Figure, value);
    QFETCH(QString, measures);
    InteractiveScene scene(nullptr, 1);
    scene.setPlane(plane(0.3, 0.4, {100, 50}));
    QCOMPARE(told(makeFigure(value, &scene)->measures()), measures);
}

void TestFigureMeasures::captionTextsInAPlane() {
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(0, 0, 1000, 800);
    scene.setPlane(plane(0.3, 0.4));
    const auto line = figure(FigureKind::Line, {{0, 0}, {100, 100}});
    const auto circle = figure(FigureKind::Circle, {{0, 0}, {80, 0}, {40, 30}});
    const auto box = figure(FigureKind::Rectangle, {{10, 20}, {110, 120}});
    const auto polygon = figure(FigureKind::Polygon, {{0, 0}, {100, 0}, {100, 250}});
    const auto text = [](const char* wanted) { return QString::fromUtf8(wanted); };
    QCOMPARE(Probe<LineMark>(&scene, line).texts(), text("50.0[mm]"));
    QCOMPARE(Probe<CircleMark>(&scene, circle).texts(), text(" O(12.0,0.0)[mm]; R:12.0[mm]"));
    QCOMPARE(Probe<ArcMark>(&scene, figure(FigureKind::Arc, {{0, 0}, {100, 0}, {100, 100}})).texts(),
             text("53.13'"));
    QCOMPARE(Probe<RectangleMark>(&scene, box).texts(), text("W:30.0 H:40.0[mm];X:3.0 Y:8.0"));
    QCOMPARE(Probe<EllipseMark>(&scene, figure(FigureKind::Ellipse, box.points)).texts(),
             text("W:30.0 H:40.0[mm]"));
    QCOMPARE(Probe<PolygonMark>(&scene, polygon).texts(), text("S:1500[mm^2]"));
    QCOMPARE(Probe<HLineMark>(&scene, figure(FigureKind::HLine, {{7, 8}})).texts(), text("3.2[mm]"));
    QCOMPARE(Probe<VLineMark>(&scene, figure(FigureKind::VLine, {{7, 8}})).texts(), text("2.1[mm]"));
    // In a plane without calibration, texts are those of px.
    scene.setPlane([](const QVector<QPointF>& points) { return PlaneFigure{points, 0, 0.0, 1.0}; });
    QCOMPARE(Probe<LineMark>(&scene, line).texts(), text("141.42[pix]"));
    QCOMPARE(Probe<PolygonMark>(&scene, polygon).texts(), text("S:12500.00[pix^2]"));
}

void TestFigureMeasures::aFigureOutsideTheSceneKnowsOfThePlane() {
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(kScene);
    const auto mark = makeFigure(sample(FigureKind::Line), &scene);
    const QImage before = paintedAlone(*mark);
    scene.setPlane(plane(0.3, 0.4));
    const QImage after = paintedAlone(*mark);
    QVERIFY(after != before);
    QCOMPARE(after, paintedAlone(*makeFigure(sample(FigureKind::Line), &scene)));
}

/// A scene keeps its items sorted by place, and has to hear of what takes more of it.
void TestFigureMeasures::theSceneFindsWhatHasGrown() {
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(-2000, -2000, 4000, 4000);
    for (int i = 0; i < 300; ++i)
        scene.addRect(i % 20 * 200 - 2000, i / 20 * 200 - 2000, 1, 1, Qt::NoPen);
    // Its caption is above it, and it above where figures are looked for in any case.
    Mark* mark =
        scene.insertMark(makeFigure(figure(FigureKind::Rectangle, {{100, -1000}, {200, -900}}), &scene));
    const QPointF place(300, -1300);
    for (int turn = 0; turn < 2; ++turn) {
        scene.setFigureZoom(1.0);
        scene.items(place);
        QGraphicsView view(&scene);
        QVERIFY(open(view));  // the scene sorts its items now
        QVERIFY(!scene.items(place).contains(mark));
        scene.setFigureZoom(0.1);
        QVERIFY(scene.items(place).contains(mark));
    }
}

void TestFigureMeasures::boundingRectCoversThePaint() {
    QFETCH(FigureKind, kind);
    for (const double zoom : {1.0, 0.25, 3.0}) {
        InteractiveScene scene(nullptr, 1);
        scene.setSceneRect(0, 0, 1, 1);  // what covers the whole scene has to come from the figure itself
        scene.setPlane(plane(0.3, 0.4));
        const auto mark = makeFigure(sample(kind), &scene);
        mark->boundingRect();
        scene.setFigureZoom(zoom);
        const QRect ink = inked(paintedAlone(*mark)).translated(-900, -900);
        QVERIFY(!ink.isNull());
        QRectF bounds = mark->boundingRect();
        // An ellipse's is that of its corners; its effect says what it covers.
        if (const QGraphicsEffect* effect = mark->graphicsEffect())
            bounds = effect->boundingRectFor(bounds);
        // Half a pixel: an inked pixel is counted whole.
        QVERIFY(bounds.adjusted(-0.5, -0.5, 0.5, 0.5).contains(QRectF(ink)));
    }
}

void TestFigureMeasures::captionsAreThoseOfThePlane() {
    // What is painted after the plane has changed under a figure that has been painted is what is painted
    // anew.
    for (const FigureKind kind : kKinds) {
        const Figure value = sample(kind);
        QImage pictures[4];
        {
            InteractiveScene scene(nullptr, 1);
            scene.setSceneRect(kScene);
            scene.insertMark(makeFigure(value, &scene));
            pictures[0] = rendered(scene);
            scene.setPlane(plane(0.3, 0.4));
            pictures[1] = rendered(scene);
            scene.setPlane({});
            pictures[2] = rendered(scene);
        }
        InteractiveScene scene(nullptr, 1);
        scene.setSceneRect(kScene);
        scene.setPlane(plane(0.3, 0.4));
        scene.insertMark(makeFigure(value, &scene));
        pictures[3] = rendered(scene);
        QVERIFY2(pictures[0] != pictures[1], qPrintable(keywordOf(kind)));
        QCOMPARE(pictures[1], pictures[3]);
        QCOMPARE(pictures[2], pictures[0]);
    }
}

void TestFigureMeasures::narrowAnglesInAPlane() {
    InteractiveScene scene(nullptr, 1);
    scene.setPlane(plane(1.0, 1.0));
    // atan(1 / 3000) = 0.0191 degrees: in single precision there is no such angle.
    const auto mark = makeFigure(figure(FigureKind::Arc, {{0, 0}, {3000, 0}, {3000, 1}}), &scene);
    QCOMPARE(told(mark->measures()), QString::fromUtf8("A 0.02 \u00b0"));
    const auto half = makeFigure(figure(FigureKind::Arc, {{0, 0}, {3000, 0}, {-3000, -1}}), &scene);
    QCOMPARE(told(half->measures()), QString::fromUtf8("A 179.98 \u00b0"));
    const auto none = makeFigure(figure(FigureKind::Arc, {{0, 0}, {3000, 0}, {0, 0}}), &scene);
    QVERIFY(none->measures().isEmpty());
}

void TestFigureMeasures::micrometresBeyondTheDrawable() {
    InteractiveScene scene(nullptr, 1);
    scene.setPlane([](const QVector<QPointF>& points) {
        PlaneFigure figure;
        for (const QPointF point : points)
            figure.points.append(point * 1000.0);
        figure.unit = 2;
        figure.pixel = 1000.0;
        return figure;
    });
    const auto mark = makeFigure(figure(FigureKind::Circle, {{4000, 0}, {7000, 0}, {5500, 1500}}), &scene);
    QCOMPARE(told(mark->measures()), QStringLiteral("X 5500000 um, Y 0 um, R 1500000 um"));
}

void TestFigureMeasures::honestDecimals_data() {
    QTest::addColumn<double>("uncertainty");
    QTest::addColumn<int>("decimals");
    QTest::newRow("hundred") << 100.0 << -2;
    QTest::newRow("hundreds") << 346.0 << -2;
    QTest::newRow("nearly a thousand") << 999.0 << -2;
    QTest::newRow("ten") << 10.0 << -1;
    QTest::newRow("some") << 9.9 << 0;
    QTest::newRow("one") << 1.0 << 0;
    QTest::newRow("less than one") << 0.99 << 1;
    QTest::newRow("a tenth") << 0.1 << 1;
    QTest::newRow("a little less") << 0.099 << 2;
    QTest::newRow("a hundredth") << 0.01 << 2;
    QTest::newRow("little") << 0.0002 << 4;
    QTest::newRow("less than shown") << 1e-9 << 4;
    QTest::newRow("nothing") << 0.0 << 4;
    QTest::newRow("no number") << kNoNumber << 4;
    QTest::newRow("endless") << std::numeric_limits<double>::infinity() << 0;
}

void TestFigureMeasures::honestDecimals() {
    QFETCH(double, uncertainty);
    QTEST(::honestDecimals(uncertainty), "decimals");
}

void TestFigureMeasures::digitsLeftOfThePoint_data() {
    QTest::addColumn<Measure>("measure");
    QTest::addColumn<QString>("text");
    PlaneFigure micrometres;
    micrometres.unit = 2;
    micrometres.pixel = 80.0;
    const auto row = [](const char* name, const Measure& measure, const char* text) {
        QTest::newRow(name) << measure << QString::fromLatin1(text);
    };
    row("length", lengthMeasure("L", 346182.0, micrometres), "346200");
    row("short", lengthMeasure("L", 1234.0, micrometres), "1230");
    row("place", placeMeasure("X", 98765.4, micrometres), "98770");
    row("left of the origin", placeMeasure("X", -98765.4, micrometres), "-98770");
    row("just beside it", placeMeasure("X", -4.0, micrometres), "0");
    row("area", areaMeasure("S", 123456789.0, 44444.0, micrometres), "123500000");
    micrometres.pixel = 0.0;
    row("not calibrated", lengthMeasure("L", 346182.0, micrometres), "346182.00");
}

void TestFigureMeasures::digitsLeftOfThePoint() {
    QFETCH(Measure, measure);
    QTEST(valueText(measure), "text");
}

void TestFigureMeasures::planesThatAreNone_data() {
    QTest::addColumn<double>("factor");
    QTest::addColumn<int>("lost");
    QTest::newRow("no numbers") << kNoNumber << 0;
    QTest::newRow("endless") << std::numeric_limits<double>::infinity() << 0;
    QTest::newRow("absurd") << 1e300 << 0;
    QTest::newRow("a point is missing") << 1.0 << 1;
}

void TestFigureMeasures::planesThatAreNone() {
    QFETCH(double, factor);
    QFETCH(int, lost);
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(kScene);
    QStringList wanted;
    for (const FigureKind kind : kKinds)
        wanted << told(makeFigure(sample(kind), &scene)->measures());
    scene.setPlane([=](const QVector<QPointF>& points) {
        PlaneFigure figure{points, 1, 0.1, 1.0};
        for (QPointF& point : figure.points)
            point *= factor;
        figure.points.resize(points.size() - lost);
        return figure;
    });
    for (int i = 0; i < wanted.size(); ++i) {
        scene.insertMark(makeFigure(sample(kKinds[i]), &scene));
        QCOMPARE(told(dynamic_cast<FigureMark*>(scene.markList().last())->measures()), wanted[i]);
    }
    rendered(scene);
}

void TestFigureMeasures::absurdFiguresMeasureNothing() {
    QFETCH(FigureKind, kind);
    for (const bool hasPlane : {false, true}) {
        InteractiveScene scene(nullptr, 1);
        scene.setSceneRect(kScene);
        if (hasPlane)
            scene.setPlane(plane(0.3, 0.4));
        for (const double absurd : {kNoNumber, 1e308, -1e308, 2e6}) {
            Figure value = sample(kind);
            value.points.last() = QPointF(absurd, absurd);
            auto mark = makeFigure(value, &scene);
            QVERIFY(mark->measures().isEmpty());
            mark->isDegenerateWith({1, 1});
            mark->finish();
            scene.insertMark(std::move(mark));
        }
        // All at one place: nothing, or a number.
        Figure value = sample(kind);
        value.points.fill({100, 100});
        auto mark = makeFigure(value, &scene);
        QVERIFY(!told(mark->measures()).contains(QLatin1String("nan")));
        QVERIFY(!told(mark->measures()).contains(QLatin1String("inf")));
        scene.insertMark(std::move(mark));
        rendered(scene);
    }
}

void TestFigureMeasures::anOpenPolygonMeasuresWhatItWouldBe() {
    InteractiveScene scene(nullptr, 1);
    const auto mark = beginFigure(FigureKind::Polygon, &scene);
    QVERIFY(mark->measures().isEmpty());
    press(*mark, {0, 0});
    press(*mark, {100, 0});
    drag(*mark, {100, 100});
    QCOMPARE(told(mark->measures()), QStringLiteral("S 5000.00 pix^2"));
    press(*mark, {100, 100});
    QCOMPARE(told(mark->measures()), QStringLiteral("S 5000.00 pix^2"));
    drag(*mark, {0, 100});
    QCOMPARE(told(mark->measures()), QStringLiteral("S 10000.00 pix^2"));
    // Where a click closes it, as it will be closed; and a mouse that is nowhere changes nothing.
    drag(*mark, {2, 8});
    QCOMPARE(told(mark->measures()), QStringLiteral("S 5000.00 pix^2"));
    drag(*mark, {kNoNumber, 8});
    QCOMPARE(told(mark->measures()), QStringLiteral("S 5000.00 pix^2"));
}

// ---- zoom --------------------------------------------------------------------------------------

void TestFigureMeasures::pensGrowWithTheFiguresZoom() {
    QFETCH(FigureKind, kind);
    // Both zooms count alike, and together. What the mark file gets is that of the view's alone, as ever.
    const double zooms[][2] = {{1.0, 0.25}, {0.25, 1.0}, {0.5, 0.5}};
    QImage first;
    for (const auto& [view, own] : zooms) {
        InteractiveScene scene(nullptr, 1);
        scene.setSceneRect(0, 0, 1600, 1200);
        Figure value = sample(kind);
        for (QPointF& point : value.points)
            point *= 2.0;
        Mark* mark = scene.insertMark(makeFigure(value, &scene));
        rendered(scene);
        QCOMPARE(mark->penWidth, 1);
        scene.viewZoom = view;
        scene.setFigureZoom(own);
        const QImage picture = rendered(scene);
        QCOMPARE(mark->penWidth, penWidthAt(view));
        if (first.isNull())
            first = picture;
        QCOMPARE(picture, first);
    }
}

void TestFigureMeasures::overlaysKeepTheirSize() {
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(0, 0, 1600, 1200);
    scene.restoreBarcodeMark(QStringLiteral("Text #ff0000 1 1 | 60 180 0 0 | 0 x y 0 z 1 0 0 0"));
    QVERIFY(scene.hasBarcodeOverlay());
    Mark* cross = scene.insertMark(markFromLine(QStringLiteral("Coordinates #0000ff 1 1 | 200 150"), &scene));
    const QRectF rect = cross->boundingRect();
    const QImage before = rendered(scene);
    scene.setFigureZoom(0.1);
    QCOMPARE(rendered(scene), before);
    QCOMPARE(cross->penWidth, 1);
    QCOMPARE(cross->boundingRect(), rect);
}

void TestFigureMeasures::zoomsThatAreNone() {
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(kScene);
    Mark* mark = scene.insertMark(makeFigure(sample(FigureKind::Line), &scene));
    const QImage before = rendered(scene);
    for (const double zoom : {0.0, -1.0, kNoNumber, std::numeric_limits<double>::infinity()}) {
        scene.setFigureZoom(3.0);
        scene.setFigureZoom(zoom);
        QCOMPARE(scene.figureZoom, 1.0);
        QCOMPARE(rendered(scene), before);
    }
    // One that is changed behind the scene's back can be anything as well.
    scene.figureZoom = kNoNumber;
    rendered(scene);
    QCOMPARE(mark->penWidth, 1);
    for (const double zoom : {1e-300, 1e300}) {
        scene.setFigureZoom(zoom);
        scene.viewZoom = zoom;
        rendered(scene);
        QVERIFY(mark->penWidth >= 1 && mark->penWidth <= 1000);
    }
}

/// A view that repaints only what it is told to shows what a fresh one shows, whatever has changed.
void TestFigureMeasures::noTrailsWhenZoomAndPlaneChange() {
    QFETCH(FigureKind, kind);
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(0, 0, 1200, 900);
    for (int i = 0; i < 300; ++i)
        scene.addRect(i % 20 * 60, i / 20 * 60, 1, 1, Qt::NoPen);
    Figure value = sample(kind);
    for (QPointF& point : value.points)
        point *= 2.0;
    auto* mark = dynamic_cast<FigureMark*>(scene.insertMark(makeFigure(value, &scene)));
    QGraphicsView watched(&scene);
    QGraphicsView fresh(&scene);
    QVERIFY(open(watched));
    QVERIFY(open(fresh));
    const auto looksFresh = [&] {
        QCoreApplication::processEvents();
        fresh.setTransform(watched.transform());
        fresh.horizontalScrollBar()->setValue(watched.horizontalScrollBar()->value());
        fresh.verticalScrollBar()->setValue(watched.verticalScrollBar()->value());
        fresh.viewport()->repaint();
        return QTest::qWaitFor([&] { return onScreen(fresh) == onScreen(watched); }, 2000);
    };
    for (const double zoom : {0.37, 1.0, 3.0}) {
        watched.setTransform(QTransform::fromScale(zoom, zoom));
        scene.setFigureZoom(zoom);
        watched.centerOn(mark->handles().first());
        QCoreApplication::processEvents();
        QTRY_VERIFY(inkOf(onScreen(watched)) > 20);
        QVERIFY(looksFresh());
        mark->shiftBy(9, 7);
        QVERIFY(looksFresh());
        scene.setPlane(plane(30.0, 40.0));
        QVERIFY(looksFresh());
        // The figure's own zoom alone, as a picture that is saved has it.
        scene.setFigureZoom(1.0);
        QVERIFY(looksFresh());
        scene.setFigureZoom(zoom);
        mark->moveHandle(0, mark->handles().first() + QPointF(11, -6));
        QVERIFY(looksFresh());
        scene.setPlane({});
        QVERIFY(looksFresh());
    }
    scene.setFigureZoom(0.2);
    scene.removeMark(mark);
    QVERIFY(looksFresh());
    QCOMPARE(inkOf(onScreen(watched)), 0);
}

QTEST_MAIN(TestFigureMeasures)
#include "tst_figuremeasures.moc"
