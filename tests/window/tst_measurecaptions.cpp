// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <optional>

#include "marks/figure.h"
#include "measure/captionoverlay.h"
#include "support/measureclicks.h"
#include "support/measureview.h"

namespace {

QRect pixelsOf(const CaptionPlate& plate) {
    return plate.area.toRect();
}

CaptionPlate plateAt(double x, double y, bool isOnTop = false) {
    return {QRectF(x, y, 60, 18), QStringLiteral("1.00"), Qt::red, isOnTop};
}

bool overlap(const QVector<CaptionPlate>& plates) {
    for (int i = 0; i < plates.size(); ++i) {
        for (int j = 0; j < i; ++j) {
            if (plates[i].area.intersects(plates[j].area))
                return true;
        }
    }
    return false;
}

const QRectF kRoom(0, 0, 800, 600);

}  // namespace

/// The measures of figures as they can be read while somebody measures.
class TestMeasureCaptions : public QObject {
    Q_OBJECT

private slots:
    void init() { v.emplace(); }
    void cleanup() { v.reset(); }

    void readableOnEveryGround_data();
    void readableOnEveryGround();
    void whereTheMarksHaveThem_data();
    void whereTheMarksHaveThem();
    void picturesAndTheViewWithoutToolsAreAsEver();
    void theyFollowWhatIsMeasured();
    void paintedWithoutBeingAsked();
    void theyGoWithTheirFigures();
    void linesAcrossThePictureAreInView_data();
    void linesAcrossThePictureAreInView();
    void keptInViewWithAPointInIt();
    void twoAtTheSamePlace();
    void theSelectedOneIsOnTop();
    void theyMakeWay();
    void noWayToMake();
    void moreThanCanBeRead();

private:
    CaptionOverlay* captions() const {
        return v->view->findChild<CaptionOverlay*>(QStringLiteral("measureCaptions"));
    }
    const QVector<CaptionPlate>& plates() const { return captions()->plates(); }
    QImage grab() const { return v->view->grab(v->viewport()->geometry()).toImage(); }
    QImage rendered() const {
        QImage picture(v->scene->sceneRect().size().toSize(), QImage::Format_RGB32);
        picture.fill(Qt::black);
        QPainter painter(&picture);
        v->scene->render(&painter);
        return picture;
    }
    void draw(const Drawn& drawn) const {
        v->tools->choose(drawn.tool);
        for (const QPointF place : drawn.clicks)
            v->click(place);
        if (drawn.tool == MeasureTool::Polygon)
            v->click(drawn.clicks.last(), Qt::RightButton);
        v->tools->choose(MeasureTool::Select);
    }
    void fill(const QColor& color) {
        for (int i = 0; i < v->items.size(); ++i) {
            v->pictures[i].fill(color);
            v->items[i]->setPixmap(QPixmap::fromImage(v->pictures[i]));
        }
    }

    std::optional<MeasureView> v;
};

void TestMeasureCaptions::readableOnEveryGround_data() {
    QTest::addColumn<int>("index");
    QTest::addColumn<QColor>("ground");
    for (int i = 0; i < drawings().size(); ++i) {
        for (const char* ground : {"white", "black", "yellow", "lime", "red", "blue"})
            QTest::addRow("%s on %s", drawings()[i].name, ground) << i << QColor(QLatin1String(ground));
    }
}

/// Light letters on what is dark, whatever is below it.
void TestMeasureCaptions::readableOnEveryGround() {
    QFETCH(int, index);
    QFETCH(QColor, ground);
    fill(ground);
    v->zoomTo(1.0);
    draw(drawings()[index]);
    v->paint();
    QVERIFY(!plates().isEmpty());
    const QImage picture = grab();
    for (const CaptionPlate& plate : plates()) {
        const QRect area = pixelsOf(plate).adjusted(2, 2, -2, -2);
        int dark = 0;
        int light = 0;
        for (int y = area.top(); y <= area.bottom(); ++y) {
            for (int x = area.left(); x <= area.right(); ++x) {
                const int grey = qGray(picture.pixel(x, y));
                dark += grey < 85 ? 1 : 0;
                light += grey > 200 ? 1 : 0;
            }
        }
        const int all = area.width() * area.height();
        QVERIFY2(dark > all / 2, qPrintable(QStringLiteral("%1 of %2 dark").arg(dark).arg(all)));
        QVERIFY2(light > 4 * plate.text.size(), qPrintable(QStringLiteral("%1 light").arg(light)));
    }
}

void TestMeasureCaptions::whereTheMarksHaveThem_data() {
    QTest::addColumn<int>("index");
    QTest::addColumn<double>("scale");
    for (int i = 0; i < drawings().size(); ++i) {
        for (const double scale : {0.37, 1.0, 3.0})
            QTest::addRow("%s at %g", drawings()[i].name, scale) << i << scale;
    }
}

void TestMeasureCaptions::whereTheMarksHaveThem() {
    QFETCH(int, index);
    QFETCH(double, scale);
    v->zoomTo(scale, {drawings()[index].tool == MeasureTool::HLine ? 0.0 : 500.0,
                      drawings()[index].tool == MeasureTool::VLine ? 0.0 : 500.0});
    draw(drawings()[index]);
    v->paint();
    const auto seen = v->figure()->seenCaptions();
    QCOMPARE(plates().size(), seen.size());
    const QTransform toView = v->view->viewportTransform();
    for (int i = 0; i < seen.size(); ++i) {
        QCOMPARE(plates()[i].text, seen[i].text.trimmed());
        QCOMPARE(plates()[i].color, v->figure()->penColor);
        // One of two makes way for the other, by a line or so; large letters, for the line across.
        const double away = QLineF(toView.map(seen[i].middle), plates()[i].area.center()).length();
        const bool isAcross =
            drawings()[index].tool == MeasureTool::HLine || drawings()[index].tool == MeasureTool::VLine;
        const double most = isAcross ? 10.0 : 0.01;
        QVERIFY2(away < (i == 0 ? most : 25.0), qPrintable(QString::number(away)));
    }
    QVERIFY(!overlap(plates()));
}

/// Files have what the marks paint, and so has the view when nobody measures.
void TestMeasureCaptions::picturesAndTheViewWithoutToolsAreAsEver() {
    v->tools->setOn(false);
    QVector<Figure> figures;
    for (const char* line : {"a", "b"}) {
        Q_UNUSED(line)
        figures.append({FigureKind::Circle,
                        {{400.0 + 100 * figures.size(), 500}, {600, 500}, {500, 420}},
                        0.0,
                        Qt::yellow,
                        1,
                        1});
        v->scene->insertMark(makeFigure(figures.last(), v->scene.get()));
    }
    v->zoomTo(1.0);
    const QImage file = rendered();
    const QImage view = grab();
    v->tools->setOn(true);
    v->paint();
    QVERIFY(captions()->isVisible());
    QVERIFY(grab() != view);
    QCOMPARE(rendered(), file);
    v->tools->setOn(false);
    v->paint();
    QVERIFY(captions()->isHidden());
    QCOMPARE(grab(), view);
    QCOMPARE(rendered(), file);
}

void TestMeasureCaptions::theyFollowWhatIsMeasured() {
    v->zoomTo(1.0);
    v->tools->choose(MeasureTool::Line);
    v->click({-100, 0});
    v->move({60, 0});
    v->paint();
    QCOMPARE(plates().size(), 1);
    QCOMPARE(plates()[0].text, QStringLiteral("160.00[pix]"));
    v->move({100, 0});
    v->paint();
    QCOMPARE(plates()[0].text, QStringLiteral("200.00[pix]"));
    v->click({100, 0});
    v->key(Qt::Key_Down);
    v->paint();
    const double middle = plates()[0].area.center().y();
    v->key(Qt::Key_Down);
    v->paint();
    QCOMPARE(plates()[0].area.center().y(), middle + 1.0);
    // What figures are measured by.
    v->scene->setPlane([](const QVector<QPointF>& points) { return PlaneFigure{points, 1, 0.0, 0.5}; });
    v->paint();
    QCOMPARE(plates()[0].text, QStringLiteral("100.00[mm]"));
    v->wheel({0, 0}, 1);
    v->paint();
    QCOMPARE(plates()[0].text, QStringLiteral("100.00[mm]"));
    QVERIFY(qAbs(plates()[0].area.center().y() - middle) < 20.0);
}

/// A caption is on the screen with the next painting of the view, and away where it was.
void TestMeasureCaptions::paintedWithoutBeingAsked() {
    class Painted : public QObject {
    public:
        QRegion region;

    protected:
        bool eventFilter(QObject* watched, QEvent* event) override {
            if (event->type() == QEvent::Paint)
                region += static_cast<QPaintEvent*>(event)->region();
            return QObject::eventFilter(watched, event);
        }
    };
    v->zoomTo(1.0);
    v->drawLine({-100, 0}, {100, 0});
    v->paint();
    v->flush();
    const QRect before = pixelsOf(plates()[0]);
    Painted painted;
    captions()->installEventFilter(&painted);
    v->flush();
    QVERIFY(painted.region.isEmpty());
    v->list->nudge(v->figure(), {0, 100});
    v->flush();
    v->flush();
    const QRect after = pixelsOf(plates()[0]);
    QCOMPARE(after.center().y(), before.center().y() + 100);
    QVERIFY((QRegion(before) + after - painted.region).isEmpty());

    // Also where the view itself is not painted.
    painted.region = {};
    const CaptionPlate elsewhere = plateAt(20, 20);
    captions()->showPlates({elsewhere}, {});
    v->flush();
    QVERIFY((QRegion(pixelsOf(elsewhere)) + after - painted.region).isEmpty());
}

void TestMeasureCaptions::theyGoWithTheirFigures() {
    v->zoomTo(1.0);
    draw(drawings()[0]);
    v->paint();
    QVERIFY(captions()->isVisible());
    v->key(Qt::Key_Delete);
    v->paint();
    QVERIFY(captions()->isHidden());
    v->list->undoStack()->undo();
    v->paint();
    QVERIFY(captions()->isVisible());
    v->figure()->showMeasure = 0;
    v->scene->repaintWhole();
    v->paint();
    QVERIFY(captions()->isHidden());
    v->figure()->showMeasure = 1;
    v->paint();
    QVERIFY(captions()->isVisible());
    v->scene.reset();
    QCoreApplication::processEvents();
    QVERIFY(captions()->isHidden());
}

void TestMeasureCaptions::linesAcrossThePictureAreInView_data() {
    QTest::addColumn<MeasureTool>("tool");
    QTest::addColumn<QPointF>("click");
    const auto row = [](const char* name, MeasureTool tool, double x, double y) {
        QTest::newRow(name) << tool << QPointF(x, y);
    };
    row("horizontal", MeasureTool::HLine, 0, 0);
    row("horizontal, uppermost", MeasureTool::HLine, 0, -285);
    row("horizontal, lowest", MeasureTool::HLine, 0, 270);
    row("vertical", MeasureTool::VLine, 0, 0);
    row("vertical, leftmost", MeasureTool::VLine, -388, 0);
    row("vertical, rightmost", MeasureTool::VLine, 370, 0);
}

void TestMeasureCaptions::linesAcrossThePictureAreInView() {
    QFETCH(MeasureTool, tool);
    QFETCH(QPointF, click);
    v->zoomTo(3.0, {900, 600});
    v->tools->choose(tool);
    v->move(click);
    v->paint();
    QCOMPARE(plates().size(), 1);  // it follows the mouse
    v->click(click);
    v->paint();
    QCOMPARE(plates().size(), 1);
    const QRectF area = plates()[0].area;
    QVERIFY(QRectF(v->viewport()->rect()).contains(area));
    // Beside the line, not upon it.
    const QPointF line = v->place(click);
    const double away = tool == MeasureTool::HLine ? qAbs(area.center().y() - line.y()) - area.height() / 2
                                                   : qAbs(area.center().x() - line.x()) - area.width() / 2;
    QVERIFY2(away > 0.0 && away < 40.0, qPrintable(QString::number(away)));
    // Out of sight with its line.
    v->tools->choose(MeasureTool::Select);
    v->view->centerOn(300, 100);
    v->paint();
    QVERIFY(plates().isEmpty());
}

void TestMeasureCaptions::keptInViewWithAPointInIt() {
    v->zoomTo(3.0, {500, 500});
    v->tools->select(v->list->add({FigureKind::Line, {{500, 500}, {900, 500}}, 0.0, Qt::red, 3, 1}));
    v->paint();
    QCOMPARE(plates().size(), 1);
    QVERIFY(QRectF(v->viewport()->rect()).contains(plates()[0].area));
    v->view->centerOn(500, 200);
    v->paint();
    QVERIFY(plates().isEmpty());
}

void TestMeasureCaptions::twoAtTheSamePlace() {
    v->zoomTo(1.0);
    v->drawLine({-100, 0}, {100, 0});
    v->drawLine({-100, 4}, {100, 4});
    v->drawLine({-100, -4}, {100, -4});
    v->paint();
    QCOMPARE(plates().size(), 3);
    QVERIFY(!overlap(plates()));
    for (const CaptionPlate& plate : plates())
        QVERIFY(qAbs(plate.area.center().y() - v->place({0, -12}).y()) < 50.0);
}

void TestMeasureCaptions::theSelectedOneIsOnTop() {
    v->zoomTo(1.0);
    FigureMark* first = v->drawLine({-100, 0}, {100, 0});
    v->drawLine({-100, 90}, {100, 90});
    v->paint();
    QVERIFY(plates()[1].isOnTop);
    const QRectF place = plates()[0].area;
    v->tools->select(first);
    v->scene->repaintWhole();
    v->paint();
    QVERIFY(plates()[1].isOnTop);
    // And nothing moves by that.
    QCOMPARE(plates()[1].area, place);
}

// ---- places --------------------------------------------------------------------------------------

void TestMeasureCaptions::theyMakeWay() {
    QVector<CaptionPlate> wished{plateAt(100, 100), plateAt(110, 105), plateAt(300, 100)};
    const auto placed = placedPlates(wished, kRoom);
    QCOMPARE(placed[0].area, wished[0].area);
    QVERIFY(!overlap(placed));
    // Downwards is nearest.
    QCOMPARE(placed[1].area.topLeft(), QPointF(110, 119));
    QCOMPARE(placed[2].area, wished[2].area);
    // In the corner there is no room on that side.
    const auto cornered = placedPlates({plateAt(760, 590), plateAt(750, 580)}, kRoom);
    QCOMPARE(cornered[0].area.bottomRight(), QPointF(798, 598));
    QVERIFY(!overlap(cornered));
    for (const CaptionPlate& plate : cornered)
        QVERIFY(kRoom.contains(plate.area));
    wished[0].isOnTop = true;
    const auto onTop = placedPlates(wished, kRoom);
    QCOMPARE(onTop[2].area, wished[0].area);
    QCOMPARE(onTop[0].area, placed[1].area);
}

/// A caption far from its figure would be that of another.
void TestMeasureCaptions::noWayToMake() {
    const QVector<CaptionPlate> many(40, plateAt(300, 300));
    const auto placed = placedPlates(many, kRoom);
    QCOMPARE(placed.size(), 40);
    for (const CaptionPlate& plate : placed)
        QVERIFY(QLineF(plate.area.center(), many[0].area.center()).length() < 70.0);
    QCOMPARE(placed.last().area, many.last().area);
    // A room smaller than any.
    QCOMPARE(placedPlates({plateAt(0, 0), plateAt(0, 0)}, QRectF(0, 0, 20, 10)).size(), 2);
}

void TestMeasureCaptions::moreThanCanBeRead() {
    const auto placed = placedPlates(QVector<CaptionPlate>(20000, plateAt(300, 300)), kRoom);
    QCOMPARE(placed.size(), 20000);
    QCOMPARE(placed.last().area, plateAt(300, 300).area);
}

QTEST_MAIN(TestMeasureCaptions)
#include "tst_measurecaptions.moc"
