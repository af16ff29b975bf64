// SPDX-License-Identifier: Apache-2.0
#include <QPainterPath>
#include <QtTest>

#include "marks/arcmark.h"
#include "marks/circlemark.h"
#include "marks/ellipsemark.h"
#include "marks/hlinemark.h"
#include "marks/linemark.h"
#include "marks/polygonmark.h"
#include "marks/rectanglemark.h"
#include "marks/vlinemark.h"
#include "support/marktest.h"

namespace {

const QRectF kScene(0, 0, 400, 300);

/// Lays bare what a mark says of its captions, and counts how often it is asked.
template <class M>
class Probe : public M {
public:
    using M::M;
    QVector<typename M::Caption> captions() const override {
        ++asked;
        return M::captions();
    }
    QPointF captionCentre(int index = 0) const { return M::captions().at(index).area.center(); }
    mutable int asked = 0;
};

template <class M>
std::unique_ptr<Probe<M>> made(InteractiveScene& scene, std::initializer_list<QPointF> points) {
    auto mark = std::make_unique<Probe<M>>(&scene);
    for (const QPointF point : points)
        press(*mark, point);
    return mark;
}

template <class M>
QPointF captionCentre(InteractiveScene& scene, std::initializer_list<QPointF> points) {
    return made<M>(scene, points)->captionCentre();
}

bool isInk(const QImage& image, int x, int y) {
    return image.pixel(x, y) != qRgb(255, 255, 255);
}

}  // namespace

/// Where figures and their captions lie, and when captions are laid out anew.
class TestMarkLayout : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void hitAreas_data();
    void hitAreas();
    void linesAcrossReachTheEdges();
    void captionsOfLinesAcross();
    void captionsOfLines();
    void captionsOfPolygons();
    void captionsAreHitToo();
    void captionsAreLaidOutOnce();
    void everyChangeLaysOutAnew();
    void arcsGoTheShortWay();
    void polygonClosesNearItsFirstVertexOnScreen();
    void onePointLinesArePlacedAnew();
    void figuresBeingMade();
    void nothingToDragBeforeTheFirstClick();
    void longCaptionsAreWhole();
    void largeLettersAreCovered();
    void steepLines();
    void sceneAsLargeAsItsTiles();
};

void TestMarkLayout::initTestCase() {
    QVERIFY(useKnownLetters());
}

void TestMarkLayout::hitAreas_data() {
    QTest::addColumn<QString>("line");
    QTest::addColumn<QRectF>("area");  // without the pen
    const auto row = [](const char* line, const QRectF& area) {
        QTest::newRow(line) << QString::fromLatin1(line) << area;
    };
    row("Line #ff0000 1 0 | 300 120 60 200", QRectF(60, 120, 240, 80));
    row("Circle #ff0000 1 0 | 120 150 260 150 190 80", QRectF(119, 79, 142, 142));
    row("Arc #ff0000 1 0 | 150 150 250 130 180 240", QRectF(130, 130, 120, 110));
    row("Arc #ff0000 1 0 | 150 150 160 150 150 160", QRectF(130, 130, 40, 40));
    row("Rectangle #ff0000 1 0 0 | 260 100 120 200", QRectF(120, 100, 140, 100));
    row("Rectangle #ff0000 1 0 90 | 100 100 300 200", QRectF(150, 50, 100, 200));
    row("Ellipse #ff0000 1 0 0 | 260 100 120 200", QRectF(120, 100, 140, 100));
    row("Polygon #ff0000 1 0 3 | 160 60 200 80 140 180 ", QRectF(140, 60, 60, 120));
    row("Polygon #ff0000 1 0 1 | 160 60 ", QRectF(160, 60, 0, 0));
    row("HLine #ff0000 1 0 | 200 150", QRectF(0, 150, 400, 0));
    row("VLine #ff0000 1 0 | 200 150", QRectF(200, 0, 0, 300));
}

/// Exactly the figure, and a pen to each side.
void TestMarkLayout::hitAreas() {
    QFETCH(QString, line);
    QFETCH(QRectF, area);
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(kScene);
    for (const double zoom : {1.0, 0.25}) {
        scene.viewZoom = zoom;
        const double pen = zoom < 1.0 ? 4.0 : 1.0;
        const auto mark = markFromLine(line, &scene);
        QVERIFY(mark);
        QCOMPARE(mark->shape().boundingRect(), area.adjusted(-pen, -pen, pen, pen));
        mark->shiftBy(-10, 20);
        if (!line.contains(QLatin1String("HLine")) && !line.contains(QLatin1String("VLine")))
            QCOMPARE(mark->shape().boundingRect(), area.adjusted(-pen, -pen, pen, pen).translated(-10, 20));
    }
}

void TestMarkLayout::linesAcrossReachTheEdges() {
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(kScene);
    addFromLine(scene, QStringLiteral("VLine #000000 1 0 | 40 7"));
    QImage image = rendered(scene);
    for (const int y : {0, 1, 150, 299})
        QVERIFY2(isInk(image, 40, y), qPrintable(QString::number(y)));
    QVERIFY(!isInk(image, 38, 0) && !isInk(image, 42, 0));
    addFromLine(scene, QStringLiteral("HLine #000000 1 0 | 7 60"));
    image = rendered(scene);
    for (const int x : {0, 1, 200, 399})
        QVERIFY2(isInk(image, x, 60), qPrintable(QString::number(x)));
    QVERIFY(!isInk(image, 0, 58) && !isInk(image, 0, 62));
}

/// At the left and at the upper end, on the side where there is room.
void TestMarkLayout::captionsOfLinesAcross() {
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(0, 0, 1000, 800);
    QCOMPARE(captionCentre<HLineMark>(scene, {{500, 300}}), QPointF(70, 288));
    QCOMPARE(captionCentre<HLineMark>(scene, {{500, 24}}), QPointF(70, 12));
    QCOMPARE(captionCentre<HLineMark>(scene, {{500, 23}}), QPointF(70, 37));
    QCOMPARE(captionCentre<VLineMark>(scene, {{300, 500}}), QPointF(355, 20));
    QCOMPARE(captionCentre<VLineMark>(scene, {{900, 500}}), QPointF(955, 20));
    QCOMPARE(captionCentre<VLineMark>(scene, {{901, 500}}), QPointF(846, 20));
    scene.viewZoom = 0.5;
    QCOMPARE(captionCentre<HLineMark>(scene, {{500, 300}}), QPointF(70, 138));
    QCOMPARE(captionCentre<HLineMark>(scene, {{500, 46}}), QPointF(70, 37));
    QCOMPARE(captionCentre<VLineMark>(scene, {{300, 500}}), QPointF(205, 20));
    QCOMPARE(captionCentre<VLineMark>(scene, {{801, 500}}), QPointF(345.5, 20));
    // Whole on screen, not cut at the left edge.
    scene.viewZoom = 1.0;
    scene.setSceneRect(kScene);
    addFromLine(scene, QStringLiteral("HLine #000000 1 1 | 7 60"));
    const QImage image = rendered(scene);
    for (int y = 0; y < 59; ++y)
        QVERIFY(!isInk(image, 0, y) && !isInk(image, 5, y));
    int inked = 0;
    for (int x = 20; x < 120; ++x)
        inked += isInk(image, x, 48) ? 1 : 0;
    QVERIFY(inked > 5);
}

void TestMarkLayout::captionsOfLines() {
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(0, 0, 1000, 800);
    // Level: above. Upright: to the right, whichever end came first.
    QCOMPARE(captionCentre<LineMark>(scene, {{100, 400}, {500, 400}}), QPointF(300, 388));
    QCOMPARE(captionCentre<LineMark>(scene, {{500, 400}, {100, 400}}), QPointF(300, 388));
    QCOMPARE(captionCentre<LineMark>(scene, {{300, 500}, {300, 100}}).y(), 300.0);
    QCOMPARE(qAbs(captionCentre<LineMark>(scene, {{300, 500}, {300, 100}}).x() - 300.0), 49.0);
    // A dot.
    QCOMPARE(captionCentre<LineMark>(scene, {{300, 500}, {300, 500}}), QPointF(300, 488));
    // Near the top edge below; from 40 px on there is room above.
    QCOMPARE(captionCentre<LineMark>(scene, {{100, 39}, {500, 39}}), QPointF(300, 51));
    QCOMPARE(captionCentre<LineMark>(scene, {{100, 40}, {500, 40}}), QPointF(300, 28));
    // Near the left edge to the right; it may then be no nearer to the edge than half its width.
    QCOMPARE(captionCentre<LineMark>(scene, {{19, 500}, {19, 100}}), QPointF(68, 300));
    QCOMPARE(captionCentre<LineMark>(scene, {{19, 100}, {19, 500}}), QPointF(68, 300));
    QCOMPARE(captionCentre<LineMark>(scene, {{10, 400}, {30, 400}}), QPointF(45, 388));
    QCOMPARE(captionCentre<LineMark>(scene, {{20, 400}, {30, 400}}), QPointF(25, 388));
    // Margins are px on the screen.
    scene.viewZoom = 0.5;
    QCOMPARE(captionCentre<LineMark>(scene, {{200, 79}, {1000, 79}}), QPointF(300, 51.5));
    QCOMPARE(captionCentre<LineMark>(scene, {{200, 80}, {1000, 80}}), QPointF(300, 28));
}

void TestMarkLayout::captionsOfPolygons() {
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(0, 0, 1000, 800);
    // One px decides between the two sides.
    QCOMPARE(captionCentre<PolygonMark>(scene, {{500, 100}, {849, 200}, {500, 300}, {501, 101}}),
             QPointF(919, 220));
    QCOMPARE(captionCentre<PolygonMark>(scene, {{500, 100}, {850, 200}, {500, 300}, {501, 101}}),
             QPointF(450, 120));
}

/// What is painted outside a figure belongs to it for the view and for tool tips.
void TestMarkLayout::captionsAreHitToo() {
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(kScene);
    const auto mark = markFromLine(QStringLiteral("Arc #ff0000 1 1 | 100 100 120 100 100 120"), &scene);
    QVERIFY(mark->shape().boundingRect().contains(QRectF(50, 108, 240, 24)));
    mark->showMeasure = 0;
    QVERIFY(!mark->shape().boundingRect().contains(QPointF(200, 120)));
    mark->showMeasure = 1;
    QVERIFY(mark->shape().boundingRect().contains(QPointF(200, 120)));
    // A caption keeps its size on screen.
    scene.viewZoom = 0.25;
    QVERIFY(
        mark->shape().boundingRect().contains(QRectF(100 + (70 - 120) * 4, 100 + 8 * 4, 240 * 4, 24 * 4)));
    // A text that is longer than its area counts whole.
    scene.viewZoom = 1.0;
    const QRectF before = mark->shape().boundingRect();
    const auto rectangle = markFromLine(QStringLiteral("Rectangle #ff0000 1 1 0 | 100 100 110 110"), &scene);
    const double width = rectangle->shape().boundingRect().width();
    scene.unitScale = 1e18;
    QVERIFY(rectangle->shape().boundingRect().width() > width + 100.0);
    QCOMPARE(mark->shape().boundingRect(), before);  // an angle has no unit
}

void TestMarkLayout::captionsAreLaidOutOnce() {
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(kScene);
    const auto line = made<LineMark>(scene, {{60, 200}, {300, 120}});
    const auto ellipse = made<EllipseMark>(scene, {{60, 200}, {300, 120}});
    ellipse->showMeasure = 1;
    const auto use = [&scene](FigureMark& mark) {
        for (int i = 0; i < 10; ++i) {
            mark.boundingRect();
            mark.shape();
            QImage image(10, 10, QImage::Format_RGB32);
            QPainter painter(&image);
            mark.paint(&painter, nullptr, nullptr);
        }
        scene.addItem(&mark);
        rendered(scene);
        rendered(scene);
        scene.removeItem(&mark);
    };
    line->asked = 0;
    use(*line);
    QVERIFY2(line->asked <= 1, qPrintable(QString::number(line->asked)));
    use(*ellipse);
    QVERIFY2(ellipse->asked <= 1, qPrintable(QString::number(ellipse->asked)));
    // And not at all while they are not shown.
    line->showMeasure = 0;
    line->asked = 0;
    use(*line);
    QCOMPARE(line->asked, 0);
}

void TestMarkLayout::everyChangeLaysOutAnew() {
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(kScene);
    const auto polygon = made<PolygonMark>(scene, {{160, 60}, {200, 80}, {140, 180}, {161, 61}});
    const auto line = made<LineMark>(scene, {{60, 200}});
    int step = 0;
    QRectF before;
    const auto changes = [&](FigureMark& mark, const std::function<void()>& change) {
        before = mark.shape().boundingRect();
        change();
        ++step;
        return mark.shape().boundingRect() != before;
    };
    QVERIFY(changes(*polygon, [&] { polygon->shiftBy(1, 0); }));
    QVERIFY(changes(*polygon, [&] { polygon->showMeasure = 0; }));
    QVERIFY(changes(*polygon, [&] { polygon->showMeasure = 1; }));
    QVERIFY(changes(*polygon, [&] { scene.viewZoom = 0.5; }));
    QVERIFY(changes(*polygon, [&] { scene.viewZoom = 1.0; }));
    QVERIFY(changes(*polygon, [&] { scene.setSceneRect(0, 0, 300, 300); }));  // no room on the right
    QVERIFY(changes(*line, [&] { drag(*line, {300, 250}); }));
    QVERIFY(changes(*line, [&] { press(*line, {300, 120}); }));
    // Texts cannot be read off a rectangle, but whether they were asked for anew can.
    const auto asks = [](const auto& mark, const std::function<void()>& change) {
        mark->shape();
        mark->asked = 0;
        change();
        mark->shape();
        return mark->asked == 1;
    };
    QVERIFY(asks(polygon, [&] { scene.unit = 1; }));
    QVERIFY(asks(polygon, [&] { scene.unitScale = 0.5; }));
    QVERIFY(!asks(polygon, [] {}));
    // While it is being made, with the cursor and with each vertex.
    const auto growing = made<PolygonMark>(scene, {{160, 60}});
    QVERIFY(changes(*growing, [&] { drag(*growing, {380, 290}); }));
    QVERIFY(changes(*growing, [&] { drag(*growing, {200, 80}); }));
    QVERIFY(changes(*growing, [&] { press(*growing, {350, 280}); }));
}

void TestMarkLayout::arcsGoTheShortWay() {
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(kScene);
    // The arms lie 30 degrees above and 30 below the right; the arc crosses between them, not behind.
    addFromLine(scene, QStringLiteral("Arc #000000 1 0 | 200 150 287 100 287 200"));
    QImage image = rendered(scene);
    QVERIFY(isInk(image, 220, 150) || isInk(image, 219, 150));
    QVERIFY(!isInk(image, 180, 150) && !isInk(image, 179, 150) && !isInk(image, 181, 150));
    scene.clear();
    addFromLine(scene, QStringLiteral("Arc #000000 1 0 | 200 150 113 100 113 200"));
    image = rendered(scene);
    QVERIFY(isInk(image, 180, 150) || isInk(image, 179, 150) || isInk(image, 181, 150));
    QVERIFY(!isInk(image, 220, 150) && !isInk(image, 219, 150));
}

void TestMarkLayout::polygonClosesNearItsFirstVertexOnScreen() {
    InteractiveScene scene(nullptr, 1);
    const auto closes = [&scene](QPointF last) {
        PolygonMark mark(&scene);
        for (const QPointF point : {QPointF(100, 100), QPointF(200, 100), QPointF(200, 200)})
            press(mark, point);
        return press(mark, last);
    };
    QVERIFY(closes({109, 100}));
    QVERIFY(!closes({110, 100}));
    scene.viewZoom = 0.5;
    QVERIFY(closes({119, 100}));
    QVERIFY(!closes({120, 100}));
}

void TestMarkLayout::onePointLinesArePlacedAnew() {
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(kScene);
    const auto line = made<HLineMark>(scene, {{10, 20}});
    drag(*line, {10, 90});
    QCOMPARE(line->shape().boundingRect().bottom(), 91.0);
    press(*line, {10, 120});
    QCOMPARE(line->shape().boundingRect().bottom(), 121.0);
}

/// What is not fixed yet goes with the mouse, and only so much is drawn as there is.
void TestMarkLayout::figuresBeingMade() {
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(kScene);
    const auto arc = made<ArcMark>(scene, {{100, 100}, {200, 100}});
    arc->showMeasure = 0;
    scene.addItem(arc.get());
    drag(*arc, {100, 200});
    QVERIFY(isInk(rendered(scene), 100, 180));
    scene.removeItem(arc.get());

    const auto polygon = made<PolygonMark>(scene, {{100, 100}, {300, 100}, {300, 250}});
    polygon->showMeasure = 0;
    scene.addItem(polygon.get());
    QImage image = rendered(scene);
    QVERIFY(isInk(image, 200, 100) && isInk(image, 300, 200));
    QVERIFY(!isInk(image, 200, 175));  // not closed yet
    drag(*polygon, {150, 250});
    image = rendered(scene);
    QVERIFY(isInk(image, 200, 250));
    QVERIFY(!isInk(image, 125, 175));
    press(*polygon, {150, 250});
    press(*polygon, {101, 101});
    image = rendered(scene);
    QVERIFY(isInk(image, 200, 250));
    QVERIFY(isInk(image, 125, 175) || isInk(image, 124, 175) || isInk(image, 126, 175));
    drag(*polygon, {380, 290});
    QCOMPARE(rendered(scene), image);
    scene.removeItem(polygon.get());
}

void TestMarkLayout::nothingToDragBeforeTheFirstClick() {
    InteractiveScene scene(nullptr, 1);
    LineMark line(&scene);
    RectangleMark rectangle(&scene);
    PolygonMark polygon(&scene);
    for (Mark* mark : std::initializer_list<Mark*>{&line, &rectangle, &polygon}) {
        const QString before = mark->toText();
        drag(*mark, {5, 6});
        QCOMPARE(mark->toText(), before);
    }
}

/// A measure without its first digit would be a wrong one.
void TestMarkLayout::longCaptionsAreWhole() {
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(kScene);
    addFromLine(scene, QStringLiteral("Rectangle #000000 1 1 0 | 150 100 250 200"));
    const auto reach = [&scene] {
        const QImage image = rendered(scene);
        int left = image.width();
        int right = 0;
        for (int y = 62; y < 78; ++y) {
            for (int x = 0; x < image.width(); ++x) {
                if (isInk(image, x, y)) {
                    left = std::min(left, x);
                    right = std::max(right, x);
                }
            }
        }
        return std::make_pair(left, right);
    };
    // The area is 130 ... 300.
    QVERIFY(reach().first > 130);
    scene.unitScale = 1e12;
    QVERIFY(reach().first < 125);
    QVERIFY(reach().second > 305);
}

void TestMarkLayout::largeLettersAreCovered() {
    const QFont before = QGuiApplication::font();
    QGuiApplication::setFont(QFont(before.family(), 40));
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(0, 0, 1200, 400);
    const auto mark = markFromLine(QStringLiteral("HLine #000000 1 1 | 600 200"), &scene);
    scene.addItem(mark.get());
    const QImage image = rendered(scene);
    const QRectF area = mark->shape().boundingRect();
    scene.removeItem(mark.get());
    QGuiApplication::setFont(before);
    int inked = 0;
    for (int y = 0; y < 195; ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (!isInk(image, x, y))
                continue;
            ++inked;
            QVERIFY2(area.contains(QPointF(x + 0.5, y + 0.5)),
                     qPrintable(QStringLiteral("%1 %2").arg(x).arg(y)));
        }
    }
    QVERIFY(inked > 100);
}

/// The same place whichever end came first; near the top edge below the line, however steep.
void TestMarkLayout::steepLines() {
    InteractiveScene scene(nullptr, 1);
    scene.setSceneRect(0, 0, 1000, 800);
    const QPointF centre = captionCentre<LineMark>(scene, {{300, 400}, {330, 500}});
    QCOMPARE(captionCentre<LineMark>(scene, {{330, 500}, {300, 400}}), centre);
    QVERIFY(centre.y() < 450);
    const QPointF below = captionCentre<LineMark>(scene, {{300, 10}, {330, 110}});
    QCOMPARE(captionCentre<LineMark>(scene, {{330, 110}, {300, 10}}), below);
    QVERIFY(below.y() > 60);
}

/// Where tiles are counts, not how large; marks do not, and a rectangle of its own can be taken back.
void TestMarkLayout::sceneAsLargeAsItsTiles() {
    InteractiveScene scene(nullptr, 1);
    auto* tile = scene.addRect(0, 0, 200, 100, Qt::NoPen);
    tile->setPos(300, 50);
    QTRY_COMPARE(scene.wholeRect().size(), QSizeF(200, 100));
    auto* second = scene.addRect(0, 0, 200, 100, Qt::NoPen);
    second->setPos(100, 0);
    QTRY_COMPARE(scene.wholeRect().size(), QSizeF(400, 150));
    scene.setSceneRect(0, 0, 50, 60);
    QCOMPARE(scene.wholeRect(), QRectF(0, 0, 50, 60));
    scene.setSceneRect(QRectF());
    addFromLine(scene, QStringLiteral("Line #000000 1 0 | 0 0 900 900"));
    QTRY_VERIFY(scene.sceneRect().height() > 800.0);
    QCOMPARE(scene.wholeRect().size(), QSizeF(400, 150));
}

QTEST_MAIN(TestMarkLayout)
#include "tst_marklayout.moc"
