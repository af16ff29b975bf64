#include <cmath>
#include <functional>
#include <optional>

#include "measure/loupe.h"
#include "measure/measureoverlay.h"
#include "support/measureview.h"

namespace {

const QRgb kRed = qRgb(250, 10, 20);
const QColor kFoundColour(64, 224, 128);
const QColor kEdgeColour(255, 160, 40);
const QColor kMissedColour(168, 174, 180);

int pixelsOf(const QImage& picture, QColor colour) {
    int count = 0;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x)
            count += picture.pixel(x, y) == colour.rgb() ? 1 : 0;
    }
    return count;
}

/// Counts events of a kind.
class Events : public QObject {
public:
    explicit Events(QObject* watched, QEvent::Type what = QEvent::Paint) : type(what) {
        watched->installEventFilter(this);
    }
    int count = 0;

protected:
    bool eventFilter(QObject*, QEvent* event) override {
        count += event->type() == type ? 1 : 0;
        return false;
    }

private:
    QEvent::Type type;
};

}  // namespace

/// What is painted over the view while figures are drawn: the loupe and the handles.
class TestLoupe : public QObject {
    Q_OBJECT

private slots:
    void init() { v.emplace(); }
    void cleanup() { v.reset(); }

    void magnifiesWhatIsAtTheCursor_data() { addZooms(); }
    void magnifiesWhatIsAtTheCursor();
    void showsBothSidesOfASeam();
    void showsWhereAPointSnapsTo_data() { addZooms(); }
    void showsWhereAPointSnapsTo();
    void tellsAnEdgeFromACorner();
    void saysWhenThereIsNothing();
    void isLive();
    void aimsAnewTwiceATurn();
    void aimsAnewForWhatIsInReach();
    void paintsNothingElse();
    void staysInsideTheView_data();
    void staysInsideTheView();
    void isThereWhileAPointIsSet();
    void letsTheMouseThrough();
    void handlesAreWhereThePointsAre_data() { addZooms(); }
    void handlesAreWhereThePointsAre();
    void handlesGoWithTheView();
    void handlesOfAFigureFarAway();
    void coversTheViewportAlone();

private:
    QImage grabbed() const {
        v->paint();
        return v->view->grab().toImage();
    }
    /// The loupe as it is seen in the view.
    QImage loupeSeen() const { return grabbed().copy(v->loupe()->geometry()); }
    void redden(int tile, QPoint pixel) {
        v->pictures[tile].setPixel(pixel, kRed);
        v->items[tile]->setPixmap(QPixmap::fromImage(v->pictures[tile]));
        v->tools->picturesChanged();
    }

    std::optional<MeasureView> v;
};

void TestLoupe::magnifiesWhatIsAtTheCursor() {
    QFETCH(double, zoom);
    v->zoomTo(zoom);
    v->tools->choose(MeasureTool::Line);
    const QPointF at(-101, -13);
    v->move(at);
    const QPointF aim = v->scenePoint(at);
    const QPoint pixel(int(aim.x()) + 3, int(aim.y()) + 4);
    redden(0, pixel);
    const QImage seen = loupeSeen();
    const double scale = 4.0 * std::max(1.0, zoom);
    const double middle = Loupe::kSide / 2.0;
    const QRectF area(QPointF(middle, middle) + (pixel - aim) * scale, QSizeF(scale, scale));
    QVERIFY(QRectF(0, 0, Loupe::kSide, Loupe::kSide).contains(area));
    for (int y = 1; y < Loupe::kSide; ++y) {
        for (int x = 1; x < Loupe::kSide - 1; ++x) {
            if (std::abs(x - middle) < 3 || std::abs(y - middle) < 3)
                continue;  // the cross
            const QPointF centre(x + 0.5, y + 0.5);
            const bool isInside = area.adjusted(0.6, 0.6, -0.6, -0.6).contains(centre);
            const bool isOutside = !area.adjusted(-0.6, -0.6, 0.6, 0.6).contains(centre);
            if (isInside)
                QCOMPARE(seen.pixel(x, y), kRed);
            if (isOutside)
                QCOMPARE(seen.pixel(x, y), qRgb(200, 200, 200));
        }
    }
}

void TestLoupe::showsBothSidesOfASeam() {
    v->pictures[1].fill(qRgb(90, 90, 90));
    v->zoomTo(1.0, {MeasureView::kTile, 500});
    v->tools->choose(MeasureTool::Line);
    const QPointF at = v->placeOf({MeasureView::kTile, 500});
    v->move(at);
    const QImage seen = loupeSeen();
    QCOMPARE(seen.pixel(70, 40), qRgb(200, 200, 200));
    QCOMPARE(seen.pixel(106, 40), qRgb(90, 90, 90));
    // Beyond the tiles there is nothing.
    v->zoomTo(1.0, {500, 0});
    v->move(v->placeOf({500, 0}));
    QCOMPARE(loupeSeen().pixel(40, 40), qRgb(43, 47, 51));
}

void TestLoupe::showsWhereAPointSnapsTo() {
    QFETCH(double, zoom);
    const QRect dark(480, 470, 120, 90);
    v->darken(0, dark);
    const QPointF corner(479.5, 469.5);
    v->zoomTo(zoom, corner);
    v->tools->choose(MeasureTool::Line);
    const QPointF beside = v->placeOf(corner) + QPointF(6, -5);
    v->move(beside);
    QCOMPARE(pixelsOf(loupeSeen(), kFoundColour), 0);
    v->move(beside, {}, Qt::ControlModifier);
    const QImage seen = loupeSeen();
    QVERIFY(pixelsOf(seen, kFoundColour) > 100);
    // The corner is in the middle of the cross: the dark part begins there.
    const int middle = Loupe::kSide / 2;
    for (const QPoint side : {QPoint(-1, -1), QPoint(1, -1), QPoint(-1, 1), QPoint(1, 1)}) {
        const bool isDark = side == QPoint(1, 1);
        QCOMPARE(seen.pixel(QPoint(middle, middle) + side * 3),
                 isDark ? qRgb(40, 40, 40) : qRgb(200, 200, 200));
    }
    // On screen that is where the picture has its corner, and there the next click goes.
    v->click(beside, Qt::LeftButton, Qt::ControlModifier);
    QVERIFY(QLineF(v->draft()->figure().points[0], QPointF(dark.topLeft())).length() < 0.15);
}

void TestLoupe::tellsAnEdgeFromACorner() {
    const QRect dark(480, 470, 120, 90);
    v->darken(0, dark);
    v->zoomTo(1.0, dark.topLeft());
    v->tools->choose(MeasureTool::Line);
    const auto coloursAt = [&](QPointF scenePoint) {
        v->move(v->placeOf(scenePoint), {}, Qt::ControlModifier);
        const QImage seen = loupeSeen();
        return QVector<bool>{pixelsOf(seen, kFoundColour) > 100, pixelsOf(seen, kEdgeColour) > 100,
                             pixelsOf(seen, kMissedColour) > 100};
    };
    QCOMPARE(coloursAt({484, 466}), QVector<bool>({true, false, false}));
    QCOMPARE(coloursAt({540, 466}), QVector<bool>({false, true, false}));
    QCOMPARE(coloursAt({400, 400}), QVector<bool>({false, false, true}));
}

void TestLoupe::saysWhenThereIsNothing() {
    v->zoomTo(1.0);
    v->tools->choose(MeasureTool::Line);
    v->move({0, 0});
    QCOMPARE(pixelsOf(loupeSeen(), kMissedColour), 0);
    v->move({0, 0}, {}, Qt::ControlModifier);
    QVERIFY(pixelsOf(loupeSeen(), kMissedColour) > 100);
    v->move({0, 0});
    QCOMPARE(pixelsOf(loupeSeen(), kMissedColour), 0);
}

void TestLoupe::isLive() {
    v->zoomTo(1.0);
    v->tools->choose(MeasureTool::Line);
    v->move({0, 0});
    QCOMPARE(loupeSeen().pixel(40, 40), qRgb(200, 200, 200));
    v->pictures[0].fill(qRgb(10, 120, 30));
    v->tools->picturesChanged();
    QCOMPARE(loupeSeen().pixel(40, 40), qRgb(10, 120, 30));
}

/// Pictures of all tiles come at once; the first is looked at, and then the others together.
void TestLoupe::aimsAnewTwiceATurn() {
    v->zoomTo(1.0);
    v->darken(0, {480, 470, 120, 90});
    v->scene->setMode(kCoordinatesMark);
    v->move(v->placeOf({484, 466}), {}, Qt::ControlModifier);
    QVERIFY(pixelsOf(loupeSeen(), kFoundColour) > 100);
    const Events moves(v->scene.get(), QEvent::GraphicsSceneMouseMove);
    for (const int grey : {210, 205, 195, 200}) {
        v->pictures[0].fill(qRgb(grey, grey, grey));
        v->tools->picturesChanged();
    }
    QCOMPARE(moves.count, 1);
    QCoreApplication::processEvents();
    QCOMPARE(moves.count, 2);
    QVERIFY(pixelsOf(loupeSeen(), kMissedColour) > 100);
    QCOMPARE(moves.count, 2);
    // What is no longer wanted when its turn comes is left out.
    for (const int grey : {210, 205}) {
        v->pictures[0].fill(qRgb(grey, grey, grey));
        v->tools->picturesChanged();
    }
    v->tools->setOn(false);
    QCoreApplication::processEvents();
    QCOMPARE(moves.count, 3);
    QVERIFY(!v->loupe()->isVisible());
}

/// What a tile far from the mouse shows changes no aim.
void TestLoupe::aimsAnewForWhatIsInReach() {
    v->zoomTo(1.0, {600, 500});
    v->darken(0, {480, 470, 120, 90});
    v->scene->setMode(kCoordinatesMark);
    v->move(v->placeOf({484, 466}), {}, Qt::ControlModifier);
    v->paint();
    const Events moves(v->scene.get(), QEvent::GraphicsSceneMouseMove);
    const auto movesOf = [&](const std::function<void()>& change) {
        const int before = moves.count;
        change();
        v->tools->picturesChanged();
        v->paint();
        return moves.count - before;
    };
    QCOMPARE(movesOf([] {}), 0);
    QCOMPARE(movesOf([&] { v->darken(1, {300, 300, 50, 50}); }), 0);
    QCOMPARE(movesOf([&] { v->darken(0, {480, 470, 120, 95}); }), 1);
    // Now in reach, and no more.
    QCOMPARE(movesOf([&] { v->items[1]->moveBy(-490, 0); }), 1);
    QCOMPARE(movesOf([&] { v->darken(1, {300, 400, 50, 50}); }), 1);
    QCOMPARE(movesOf([&] { v->items[1]->moveBy(490, 0); }), 1);
    QCOMPARE(movesOf([&] { v->darken(1, {300, 500, 50, 50}); }), 0);
}

void TestLoupe::paintsNothingElse() {
    v->zoomTo(1.0);
    v->drawLine({-50, -50}, {60, 30});
    v->move({100, 100});
    v->paint();
    const Events ofView(v->viewport());
    const Events ofLoupe(v->loupe());
    const Events ofHandles(v->overlay());
    v->tools->picturesChanged();
    v->flush();
    QCOMPARE(ofLoupe.count, 1);
    QCOMPARE(ofView.count, 0);
    QCOMPARE(ofHandles.count, 0);
    // Nothing is to be seen, nothing is painted.
    v->tools->choose(MeasureTool::Select);
    v->tools->select(nullptr);
    v->paint();
    const int before = ofView.count;
    v->tools->picturesChanged();
    v->move({110, 110});
    v->flush();
    QCOMPARE(ofLoupe.count, 1);
    QCOMPARE(ofView.count, before);
    QVERIFY(!v->overlay()->isVisible());
}

void TestLoupe::staysInsideTheView_data() {
    QTest::addColumn<QPointF>("at");
    QTest::newRow("middle") << QPointF(0, 0);
    QTest::newRow("top left") << QPointF(-398, -298);
    QTest::newRow("top right") << QPointF(398, -298);
    QTest::newRow("bottom left") << QPointF(-398, 298);
    QTest::newRow("bottom right") << QPointF(398, 298);
}

void TestLoupe::staysInsideTheView() {
    QFETCH(QPointF, at);
    v->zoomTo(1.0);
    v->tools->choose(MeasureTool::Line);
    v->move(at);
    QVERIFY(v->loupe()->isVisible());
    const QRect place = v->loupe()->geometry();
    QVERIFY(v->viewport()->geometry().contains(place));
    // And beside the cursor, not under it.
    const QPoint cursor = v->place(at).toPoint();
    QVERIFY(!place.adjusted(-10, -10, 10, 10).contains(cursor));
    QVERIFY(place.adjusted(-60, -60, 60, 60).contains(cursor));
}

void TestLoupe::isThereWhileAPointIsSet() {
    v->zoomTo(1.0);
    v->move({0, 0});
    QVERIFY(!v->loupe()->isVisible());  // nothing is drawn yet
    v->tools->choose(MeasureTool::Line);
    QVERIFY(v->loupe()->isVisible());
    v->drawLine({-90, 0}, {90, 10});
    v->tools->choose(MeasureTool::Select);
    QVERIFY(!v->loupe()->isVisible());
    v->press({0, 5});
    v->move({10, 15}, Qt::LeftButton);
    QVERIFY(!v->loupe()->isVisible());  // all of it is moved
    v->release({0, 5});
    v->press({-90, 0});
    v->move({-90, -30}, Qt::LeftButton);
    QVERIFY(v->loupe()->isVisible());
    v->release({-90, -30});
    QVERIFY(!v->loupe()->isVisible());
    v->scene->setMode(kBarcodeTextMark);
    v->move({0, 60});
    QVERIFY(!v->loupe()->isVisible());
    v->click({0, 60});
    v->scene->setMode(kCoordinatesMark);
    v->move({0, 70});
    QVERIFY(v->loupe()->isVisible());
    v->click({0, 70});
    v->move({0, 80});
    QVERIFY(!v->loupe()->isVisible());
    v->tools->choose(MeasureTool::Line);
    v->press({0, 90}, Qt::MiddleButton);
    v->move({0, 80}, Qt::MiddleButton);
    QVERIFY(!v->loupe()->isVisible());  // the view is moved
    v->release({0, 80}, Qt::MiddleButton);
    QVERIFY(v->loupe()->isVisible());
}

void TestLoupe::letsTheMouseThrough() {
    v->zoomTo(1.0);
    v->tools->choose(MeasureTool::Line);
    v->move({0, 0});
    const QPoint inside = v->loupe()->geometry().center();
    QVERIFY(v->loupe()->testAttribute(Qt::WA_TransparentForMouseEvents));
    QCOMPARE(v->view->childAt(inside), v->viewport());
    v->drawLine({-50, 0}, {50, 0});
    QCOMPARE(v->view->childAt(v->place({50, 0}).toPoint()), v->viewport());
}

void TestLoupe::handlesAreWhereThePointsAre() {
    QFETCH(double, zoom);
    v->zoomTo(zoom);
    const QVector<QPointF> places{{-90, -61}, {83, 47}};
    v->drawLine(places[0], places[1]);
    v->tools->choose(MeasureTool::Select);
    const QImage seen = grabbed();
    for (const QPointF at : places) {
        const QPoint middle = v->place(at).toPoint();
        const auto pixel = [&](int x, int y) { return seen.pixel(middle + QPoint(x, y)); };
        for (const int x : {-3, 0, 3}) {
            for (const int y : {-3, 0, 3})
                QCOMPARE(pixel(x, y), qRgb(255, 255, 255));
        }
        // As large at each zoom.
        for (const QPoint& side : {QPoint(0, -1), QPoint(0, 1), QPoint(-1, 0), QPoint(1, 0)}) {
            const int inside = MeasureOverlay::kHandle / 2;
            QCOMPARE(pixel(side.x() * inside, side.y() * inside), qRgb(20, 60, 140));
            QVERIFY(pixel(side.x() * (inside + 1), side.y() * (inside + 1)) != qRgb(20, 60, 140));
        }
    }
    // What was just drawn is marked only: there the next figure may begin.
    v->tools->choose(MeasureTool::Line);
    const QImage small = grabbed();
    QCOMPARE(small.pixel(v->place(places[0]).toPoint()), qRgb(255, 255, 255));
    QVERIFY(small.pixel(v->place(places[0] + QPointF(-3, 3)).toPoint()) != qRgb(255, 255, 255));
}

void TestLoupe::handlesGoWithTheView() {
    v->zoomTo(1.0);
    FigureMark* line = v->drawLine({-90, -60}, {80, 50});
    v->tools->choose(MeasureTool::Select);
    for (const double zoom : {3.0, 0.37, 1.0}) {
        v->zoomTo(zoom, line->handles()[0] + QPointF(20, 30));
        const QPoint at = v->view->viewportTransform().map(line->handles()[0]).toPoint();
        QCOMPARE(grabbed().pixel(at), qRgb(255, 255, 255));
    }
    v->press({100, 100}, Qt::MiddleButton);
    v->move({130, 120}, Qt::MiddleButton);
    v->release({130, 120}, Qt::MiddleButton);
    v->list->nudge(line, {7, 5});
    const QPoint at = v->view->viewportTransform().map(line->handles()[0]).toPoint();
    const QImage seen = grabbed();
    QCOMPARE(seen.pixel(at), qRgb(255, 255, 255));
    QCOMPARE(seen.pixel(at + QPoint(3, -3)), qRgb(255, 255, 255));
}

void TestLoupe::handlesOfAFigureFarAway() {
    v->zoomTo(3.0);
    const double far = 1e308;
    for (const QPointF point :
         {QPointF(far, 5), QPointF(-far, -far), QPointF(qQNaN(), 0), QPointF(1e7, 1e7)}) {
        v->tools->select(v->list->add({FigureKind::Line, {{500, 500}, point}, 0.0, Qt::red, 1, 1}));
        QVERIFY(!grabbed().isNull());
        v->tools->choose(MeasureTool::Select);
        v->click({0, 0});
        v->drag({0, 0}, {20, 30});
        v->tools->deleteSelected();
    }
}

void TestLoupe::coversTheViewportAlone() {
    v->zoomTo(1.0);
    v->drawLine({-90, -60}, {80, 50});
    QCOMPARE(v->overlay()->geometry(), v->viewport()->geometry());
    v->view->resize(500, 400);
    QCoreApplication::processEvents();
    QCOMPARE(v->overlay()->geometry(), v->viewport()->geometry());
    QVERIFY(v->viewport()->width() < 500);
}

QTEST_MAIN(TestLoupe)
#include "tst_loupe.moc"
