// SPDX-License-Identifier: Apache-2.0
#include <QMenu>
#include <QToolButton>
#include <optional>

#include "live/livetiles.h"
#include "support/measureonscreen.h"
#include "support/recordingcamera.h"

namespace {

const QSize kFrame(2592, 1944);  // two of them fit the screen at 0.37
const QString kKey = QStringLiteral("View/Measure");

struct Drawn {
    const char* tool;
    const char* keyword;
    QVector<QPoint> clicks;
};

/// One figure a tool. A polygon is ended by the right button.
const QVector<Drawn>& drawings() {
    static const QVector<Drawn> kDrawings{
        {"measureLine", "Line", {{-200, -100}, {150, 60}}},
        {"measureCircle", "Circle", {{-150, 0}, {150, 0}, {0, -140}}},
        {"measureArc", "Arc", {{-100, 0}, {150, -40}, {60, 140}}},
        {"measureRectangle", "Rectangle", {{-200, -100}, {100, 80}}},
        {"measureEllipse", "Ellipse", {{-150, -120}, {160, 90}}},
        {"measurePolygon", "Polygon", {{-200, -100}, {180, -80}, {150, 120}, {-60, 160}}},
        {"measureHLine", "HLine", {{30, -50}}},
        {"measureVLine", "VLine", {{-70, 40}}}};
    return kDrawings;
}

}  // namespace

/// Measuring in the real window by a real mouse and keys: the tool bar, each tool at three zooms, undo, the
/// loupe as the screen has it.
class TestMeasureOnScreen : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void barFromTheMenuOfToolBars();
    void escLeavesFullScreenAndThePolygonGoesOn();
    void everyTool_data();
    void everyTool();
    void draggedFigures_data();
    void draggedFigures();
    void rightClickEndsAndGivesUp();
    void toolsAreGreyWhileTheSceneTakesTheClick_data();
    void toolsAreGreyWhileTheSceneTakesTheClick();
    void undoneAndRedone();
    void selectedDraggedAndNudged();
    void loupeOnTheScreen_data();
    void loupeOnTheScreen();
    void loupeForTilt();

private:
    static constexpr double kFit = 0.0;  // instead of a scale

    void start(const QByteArray& ini = "[View]\nMeasure=1\n");
    void sendPictures() const;
    static int greyAt(int tile, int x, int y);
    bool zoom(double scale);
    bool draw(const Drawn& drawn);
    bool chooseInToolBarMenu();
    bool loupeMagnifies() const;
    static bool isNear(const QVector<QPointF>& points, const QVector<QPointF>& wanted, double within);

    std::unique_ptr<WindowUnderTest> window;
    std::unique_ptr<MeasureOnScreen> hand;
};

void TestMeasureOnScreen::init() {
    QVector<recording::Camera> cameras(2);
    for (auto& camera : cameras) {
        camera.width = kFrame.width();
        camera.height = kFrame.height();
        camera.queryStatus = 5;  // the frames of the test are the only ones
    }
    recording::reset(cameras);
}

void TestMeasureOnScreen::cleanup() {
    MeasureOnScreen::xdo(QStringLiteral("mouseup 1 keyup ctrl keyup shift"));  // of a test that failed
    hand.reset();
    window.reset();
}

void TestMeasureOnScreen::start(const QByteArray& ini) {
    if (!window)
        window = std::make_unique<WindowUnderTest>();
    if (!ini.isNull())
        QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"),
                                     ini + "[File]\nLang=1\nType=2\n[Pos]\nX0=0\nY0=0\nX1=2592\nY1=0\n"));
    window->start();
    hand = std::make_unique<MeasureOnScreen>(*window);
    QVERIFY(QTest::qWaitForWindowActive(window->get(), kWait));
    QTRY_COMPARE_WITH_TIMEOUT((*window)->width(), (*window)->screen()->size().width(), kWait);
    sendPictures();
    QVERIFY(window->waitForTiles(2));
    QTRY_COMPARE_WITH_TIMEOUT(hand->scene()->sceneRect().width(), 2.0 * kFrame.width(), kWait);
    QTRY_VERIFY_WITH_TIMEOUT(window->isFitted(), kWait);
}

/// No pixel is like its neighbours.
int TestMeasureOnScreen::greyAt(int tile, int x, int y) {
    quint32 mixed = quint32(x) * 2654435761u ^ quint32(y) * 2246822519u ^ quint32(tile) * 3266489917u;
    mixed ^= mixed >> 15;
    mixed *= 2654435761u;
    return int(mixed >> 24);
}

void TestMeasureOnScreen::sendPictures() const {
    for (int tile = 0; tile < 2; ++tile) {
        auto* buffer = new unsigned char[size_t(kFrame.width()) * size_t(kFrame.height())];
        for (int y = 0; y < kFrame.height(); ++y) {
            for (int x = 0; x < kFrame.width(); ++x)
                buffer[y * kFrame.width() + x] = static_cast<unsigned char>(greyAt(tile, x, y));
        }
        const QImage image(buffer, kFrame.width(), kFrame.height(), kFrame.width(),
                           QImage::Format_Grayscale8);
        (*window)->process(tile, image, buffer, quint64(QDateTime::currentMSecsSinceEpoch()));
    }
}

bool TestMeasureOnScreen::zoom(double scale) {
    if (scale != kFit)
        return hand->zoomTo(scale);
    return hand->pressButton("actionZoom_Fit") &&
           QTest::qWaitFor([&] { return qAbs(hand->scale() - 0.37) < 0.001; }, kWait);
}

bool TestMeasureOnScreen::draw(const Drawn& drawn) {
    const int before = hand->scene()->markCount();
    if (!hand->pressButton(drawn.tool))
        return false;
    for (const QPoint place : drawn.clicks) {
        if (!hand->click(place))
            return false;
    }
    // A menu that came up instead would wait for somebody to choose.
    const MenuCloser menus;
    if (qstrcmp(drawn.tool, "measurePolygon") == 0 && !hand->click(drawn.clicks.last(), 3))
        return false;
    return menus.count == 0 && hand->scene()->markCount() == before + 1;
}

bool TestMeasureOnScreen::isNear(const QVector<QPointF>& points, const QVector<QPointF>& wanted,
                                 double within) {
    for (int i = 0; i < wanted.size(); ++i) {
        if (i >= points.size() || qAbs(points[i].x() - wanted[i].x()) > within ||
            qAbs(points[i].y() - wanted[i].y()) > within)
            return false;
    }
    return true;
}

// ---- the tool bar --------------------------------------------------------------------------------

/// A right click on the first tool bar, and a click on what its menu has for the second.
bool TestMeasureOnScreen::chooseInToolBarMenu() {
    const auto* first = (*window)->findChild<QToolBar*>(QStringLiteral("toolBar"));
    const QPoint right = first->mapToGlobal({first->width() - 8, first->height() / 2});
    if (!MeasureOnScreen::xdo(QStringLiteral("mousemove %1 %2 click 3").arg(right.x()).arg(right.y())))
        return false;
    QPointer<QMenu> menu;
    const bool isUp = QTest::qWaitFor(
        [&] {
            menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
            return menu && menu->isVisible();
        },
        kWait);
    if (!isUp)
        return false;
    const auto actions = menu->actions();
    for (QAction* action : actions) {
        if (action->text() != QLatin1String("Measure"))
            continue;
        const QSignalSpy triggered(action, &QAction::triggered);
        const QPoint place = menu->mapToGlobal(menu->actionGeometry(action).center());
        return MeasureOnScreen::xdo(
                   QStringLiteral("mousemove %1 %2 click 1").arg(place.x()).arg(place.y())) &&
               QTest::qWaitFor([&] { return !triggered.isEmpty() && !menu; }, kWait);
    }
    menu->close();
    return false;
}

void TestMeasureOnScreen::barFromTheMenuOfToolBars() {
    start("");
    QVERIFY(hand->bar()->isHidden());
    QVERIFY(chooseInToolBarMenu());
    QTRY_VERIFY_WITH_TIMEOUT(hand->bar()->isVisible(), kWait);
    QCOMPARE(WorkingFolder::keyOnDisk(kKey), QStringLiteral("1"));
    QVERIFY(draw(drawings()[0]));

    // Full screen: away with the other bar, and back with it. The keys go on meanwhile.
    QVERIFY(hand->keys(QStringLiteral("F4")));
    QTRY_COMPARE_WITH_TIMEOUT(hand->view()->size(), (*window)->screen()->size(), kWait);
    QVERIFY(hand->bar()->isHidden());
    QVERIFY(hand->keys(QStringLiteral("ctrl+z")));
    QTRY_COMPARE_WITH_TIMEOUT(hand->scene()->markCount(), 0, kWait);
    QVERIFY(hand->keys(QStringLiteral("Escape")));
    QTRY_VERIFY_WITH_TIMEOUT(hand->bar()->isVisible(), kWait);
    QCOMPARE(WorkingFolder::keyOnDisk(kKey), QStringLiteral("1"));

    hand.reset();
    window->end();
    start({});
    QVERIFY(hand->bar()->isVisible());
    QVERIFY(draw(drawings()[0]));
    QVERIFY(chooseInToolBarMenu());
    QTRY_VERIFY_WITH_TIMEOUT(hand->bar()->isHidden(), kWait);
    QCOMPARE(WorkingFolder::keyOnDisk(kKey), QStringLiteral("0"));
    // What was drawn stays; nothing is drawn any more.
    QVERIFY(hand->click({-20, -20}));
    QVERIFY(hand->click({20, 20}));
    QCOMPARE(hand->scene()->markCount(), 1);
    QVERIFY(!hand->draft());
}

void TestMeasureOnScreen::escLeavesFullScreenAndThePolygonGoesOn() {
    start();
    QVERIFY(hand->pressButton("measurePolygon"));
    QVERIFY(hand->keys(QStringLiteral("F4")));
    QTRY_COMPARE_WITH_TIMEOUT(hand->view()->size(), (*window)->screen()->size(), kWait);
    QTRY_VERIFY_WITH_TIMEOUT(window->isFitted(), kWait);
    QVector<QPointF> wanted;
    for (const QPoint place : {QPoint(-200, -100), QPoint(180, -80)}) {
        wanted.append(hand->scenePoint(place));
        QVERIFY(hand->click(place));
    }
    QCOMPARE(hand->pointsTaken(), 2);
    QVERIFY(hand->keys(QStringLiteral("Escape")));
    QTRY_VERIFY_WITH_TIMEOUT(hand->bar()->isVisible() && !(*window)->isFullScreen(), kWait);
    QTRY_VERIFY_WITH_TIMEOUT(hand->view()->width() < (*window)->screen()->size().width() ||
                                 hand->view()->height() < (*window)->screen()->size().height(),
                             kWait);
    QTRY_VERIFY_WITH_TIMEOUT(window->isFitted(), kWait);
    QCOMPARE(hand->pointsTaken(), 2);
    wanted.append(hand->scenePoint({-60, 90}));
    QVERIFY(hand->click({-60, 90}));
    QVERIFY(hand->click({-60, 90}, 3));
    QCOMPARE(hand->scene()->markCount(), 1);
    QCOMPARE(hand->points().size(), 3);
    QVERIFY(isNear(hand->points(), wanted, 1.0 / hand->scale()));
}

// ---- tools ---------------------------------------------------------------------------------------

void TestMeasureOnScreen::everyTool_data() {
    QTest::addColumn<double>("scale");
    QTest::newRow("Zoom Fit") << kFit;
    QTest::newRow("Reset") << 1.0;
    QTest::newRow("wheel, 3") << 3.0;
}

void TestMeasureOnScreen::everyTool() {
    QFETCH(double, scale);
    start();
    QVERIFY(zoom(scale));
    QVector<QVector<QPointF>> wanted;
    for (const Drawn& drawn : drawings()) {
        QVERIFY2(draw(drawn), drawn.tool);
        wanted.append(QVector<QPointF>());
        for (const QPoint place : drawn.clicks)
            wanted.last().append(hand->scenePoint(place));
    }
    const QStringList lines = hand->savedLines();
    QCOMPARE(lines.size(), drawings().size());
    for (int i = 0; i < lines.size(); ++i) {
        QCOMPARE(lines[i].section(QLatin1Char(' '), 0, 0), QLatin1String(drawings()[i].keyword));
        QVERIFY2(isNear(MeasureOnScreen::pointsOf(lines[i]), wanted[i], 1.0 / hand->scale()),
                 qPrintable(lines[i]));
    }
    // The cameras' pictures are where they were.
    QCOMPARE(window->tiles()[0]->pos(), QPointF(0, 0));
    QCOMPARE(window->tiles()[1]->pos(), QPointF(kFrame.width(), 0));
}

void TestMeasureOnScreen::draggedFigures_data() {
    everyTool_data();
}

void TestMeasureOnScreen::draggedFigures() {
    QFETCH(double, scale);
    start();
    QVERIFY(zoom(scale));
    int count = 0;
    for (const char* tool : {"measureLine", "measureRectangle", "measureEllipse"}) {
        QVERIFY(hand->pressButton(tool));
        const QVector<QPointF> wanted{hand->scenePoint({-120, -90}), hand->scenePoint({140, 60})};
        QVERIFY(hand->drag({-120, -90}, {140, 60}));
        QCOMPARE(hand->scene()->markCount(), ++count);
        QVERIFY2(isNear(hand->points(count - 1), wanted, 1.0 / hand->scale()), tool);
    }
    // A hand that trembles clicks all the same.
    QVERIFY(hand->drag({-50, -50}, {-48, -51}));
    QCOMPARE(hand->scene()->markCount(), count);
    QCOMPARE(hand->pointsTaken(), 1);
}

void TestMeasureOnScreen::rightClickEndsAndGivesUp() {
    start();
    QVERIFY(zoom(1.0));
    MenuCloser menus;
    QVERIFY(draw(drawings()[5]));
    QCOMPARE(hand->points().size(), 4);
    // With the wheel after it, whatever comes of the right button has come.
    const auto settle = [this] {
        const double before = hand->scale();
        return MeasureOnScreen::xdo(QStringLiteral("click 4")) &&
               QTest::qWaitFor([&] { return hand->scale() > before; }, kWait);
    };
    QVERIFY(settle());
    QCOMPARE(menus.count, 0);
    QVERIFY(hand->pressButton("measureLine"));
    QVERIFY(hand->click({-100, 0}));
    QVERIFY(hand->moveTo({50, 50}));
    QVERIFY(hand->draft());
    QVERIFY(hand->click({50, 50}, 3));
    QVERIFY(!hand->draft());
    QVERIFY(settle());
    QCOMPARE(menus.count, 0);
    QCOMPARE(hand->scene()->markCount(), 1);
    // Nothing in progress: the view's menu, with every tool.
    int expected = 0;
    for (const char* tool : {"measureLine", "measurePolygon", "measureHLine", "measureSelect"}) {
        QVERIFY(hand->pressButton(tool));
        QVERIFY(hand->moveTo({60, 50}));
        QVERIFY(MeasureOnScreen::xdo(QStringLiteral("click 3")));
        ++expected;
        QTRY_COMPARE_WITH_TIMEOUT(menus.count, expected, kWait);
    }
    QCOMPARE(hand->scene()->markCount(), 1);
}

// ---- editing -------------------------------------------------------------------------------------

void TestMeasureOnScreen::toolsAreGreyWhileTheSceneTakesTheClick_data() {
    QTest::addColumn<QByteArray>("place");
    QTest::newRow("tilt") << QByteArray("actionTilt");
    QTest::newRow("barcode") << QByteArray("actionBarcode");
    QTest::newRow("date and time") << QByteArray("actionDate_Time");
}

/// What is shown as pressed is what the next click does.
void TestMeasureOnScreen::toolsAreGreyWhileTheSceneTakesTheClick() {
    QFETCH(QByteArray, place);
    start();
    QVERIFY(zoom(1.0));
    const auto isShown = [this](const char* chosen) {
        for (const char* tool : {"measureLine", "measurePolygon", "measureHLine", "measureSelect"}) {
            const QAction* action = window->action(tool);
            if (action->isChecked() != (qstrcmp(tool, chosen) == 0) || action->isEnabled() == !*chosen)
                return false;
        }
        return true;
    };
    const auto waitFor = [&](const char* chosen) {
        return QTest::qWaitFor([&] { return isShown(chosen); }, kWait);
    };
    QVERIFY(waitFor("measureSelect"));
    QVERIFY(hand->pressButton("measureLine"));
    QVERIFY(hand->click({-100, 0}));
    QVERIFY(hand->pressButton(place));
    QVERIFY(waitFor(""));
    QVERIFY(!hand->draft());
    // A grey button does nothing.
    const QWidget* grey = hand->bar()->widgetForAction(window->action("measurePolygon"));
    const QPoint middle = grey->mapToGlobal(grey->rect().center());
    QVERIFY(MeasureOnScreen::xdo(QStringLiteral("mousemove %1 %2 click 1").arg(middle.x()).arg(middle.y())));
    QVERIFY(hand->moveTo({60, 30}));
    QVERIFY(waitFor(""));
    const int before = hand->scene()->markCount();
    QVERIFY(hand->click({60, 30}));
    QVERIFY(waitFor("measureLine"));
    QCOMPARE(hand->scene()->markCount(), before + (place == "actionTilt" ? 1 : 0));
    QCOMPARE(hand->pointsTaken(), 0);
    // Its tool again, and any other.
    QVERIFY(hand->drag({-100, -60}, {90, -60}));
    QCOMPARE(hand->scene()->markCount(), before + (place == "actionTilt" ? 2 : 1));
    QVERIFY(draw(drawings()[5]));
    QVERIFY(waitFor("measurePolygon"));
    // Given up.
    QVERIFY(hand->pressButton(place));
    QVERIFY(waitFor(""));
    if (place == "actionTilt") {
        const MenuCloser menus;  // the view's comes up, as ever
        QVERIFY(hand->moveTo({60, 30}));
        QVERIFY(MeasureOnScreen::xdo(QStringLiteral("click 3")));
        QTRY_COMPARE_WITH_TIMEOUT(menus.count, 1, kWait);
    } else {
        QVERIFY(hand->pressButton("actionClear"));
    }
    QVERIFY(waitFor("measurePolygon"));
    QVERIFY(draw(drawings()[1]));
}

void TestMeasureOnScreen::undoneAndRedone() {
    start();
    QVERIFY(zoom(1.0));
    for (const Drawn& drawn : drawings())
        QVERIFY2(draw(drawn), drawn.tool);
    const QStringList all = hand->savedLines();
    const int count = all.size();
    const auto isCount = [this](int wanted) {
        return QTest::qWaitFor([&] { return hand->scene()->markCount() == wanted; }, kWait);
    };
    // By the buttons.
    for (int left = count - 1; left >= 0; --left) {
        QVERIFY(hand->pressButton("measureUndo"));
        QVERIFY(isCount(left));
    }
    QVERIFY(!window->action("measureUndo")->isEnabled());
    for (int back = 1; back <= count; ++back) {
        QVERIFY(hand->pressButton("measureRedo"));
        QVERIFY(isCount(back));
    }
    QCOMPARE(hand->savedLines(), all);
    // By the keys.
    QVERIFY(hand->keys(QStringLiteral("ctrl+z ctrl+z ctrl+z")));
    QVERIFY(isCount(count - 3));
    QVERIFY(hand->keys(QStringLiteral("ctrl+y ctrl+shift+z")));
    QVERIFY(isCount(count - 1));
    QCOMPARE(hand->savedLines(), all.mid(0, count - 1));
    // A draft is no command.
    QVERIFY(hand->pressButton("measureLine"));
    QVERIFY(hand->click({0, 0}));
    QVERIFY(hand->keys(QStringLiteral("ctrl+z")));
    QVERIFY(isCount(count - 2));
    QVERIFY(hand->keys(QStringLiteral("ctrl+y")));
    QVERIFY(isCount(count - 1));
    QCOMPARE(hand->savedLines(), all.mid(0, count - 1));
}

void TestMeasureOnScreen::selectedDraggedAndNudged() {
    start();
    QVERIFY(zoom(1.0));
    QVERIFY(draw(drawings()[0]));
    const QStringList drawn = hand->savedLines();
    const QVector<QPointF> at = hand->points();
    QCOMPARE(at.size(), 2);
    const auto isAt = [this](const QVector<QPointF>& wanted) {
        return QTest::qWaitFor([&] { return isNear(hand->points(), wanted, 1e-6); }, kWait);
    };
    QVERIFY(hand->keys(QStringLiteral("Right Right Right Down")));
    QVERIFY(isAt({at[0] + QPointF(3, 1), at[1] + QPointF(3, 1)}));
    QVERIFY(hand->keys(QStringLiteral("shift+Left shift+Up shift+Up")));
    QVERIFY(isAt({at[0] + QPointF(2.9, 0.8), at[1] + QPointF(2.9, 0.8)}));
    // Nudges in a row are one step back.
    QVERIFY(hand->keys(QStringLiteral("ctrl+z")));
    QVERIFY(isAt(at));
    QCOMPARE(hand->savedLines(), drawn);

    // One end, by its handle; the other one stays.
    QVERIFY(hand->pressButton("measureSelect"));
    QVERIFY(hand->click({300, 200}));  // nothing there
    QVERIFY(!window->action("measureDelete")->isEnabled());
    QVERIFY(hand->click(drawings()[0].clicks[1] + QPoint(-35, -16)));  // on the line
    QTRY_VERIFY_WITH_TIMEOUT(window->action("measureDelete")->isEnabled(), kWait);
    QVERIFY(hand->drag(drawings()[0].clicks[1], {220, 120}));
    QCOMPARE(hand->points()[0], at[0]);
    QVERIFY(isNear({hand->points()[1]}, {hand->scenePoint({220, 120})}, 1.0));
    // And nudged alone then.
    const QVector<QPointF> before = hand->points();
    QVERIFY(hand->keys(QStringLiteral("Right Right shift+Down")));
    QVERIFY(isAt({before[0], before[1] + QPointF(2, 0.1)}));
    QVERIFY(hand->keys(QStringLiteral("ctrl+z")));
    QVERIFY(isAt(before));
    // All of it.
    QVERIFY(hand->drag({10, 10}, {10, -60}));
    QVERIFY(isNear(hand->points(), {before[0] - QPointF(0, 70), before[1] - QPointF(0, 70)}, 1e-6));
    const QStringList moved = hand->savedLines();

    QVERIFY(hand->keys(QStringLiteral("Delete")));
    QTRY_COMPARE_WITH_TIMEOUT(hand->scene()->markCount(), 0, kWait);
    QVERIFY(hand->pressButton("measureUndo"));
    QTRY_COMPARE_WITH_TIMEOUT(hand->scene()->markCount(), 1, kWait);
    QCOMPARE(hand->savedLines(), moved);
    QVERIFY(hand->click({10, -60}));
    QVERIFY(hand->pressButton("measureDelete"));
    QTRY_COMPARE_WITH_TIMEOUT(hand->scene()->markCount(), 0, kWait);
    QVERIFY(hand->keys(QStringLiteral("ctrl+z ctrl+z ctrl+z")));
    QVERIFY(isAt(at));
    QCOMPARE(hand->savedLines(), drawn);
    QCOMPARE(window->tiles()[0]->pos(), QPointF(0, 0));
}

// ---- the loupe -----------------------------------------------------------------------------------

/// Whether the screen shows the pixels around the mouse magnified: as large as the loupe says, each of one
/// grey, that of the tile's.
bool TestMeasureOnScreen::loupeMagnifies() const {
    const auto* loupe = hand->view()->findChild<QWidget*>(QStringLiteral("loupe"));
    if (!loupe || !loupe->isVisible())
        return false;
    const QImage screen = hand->screenshot();
    const QPoint corner = loupe->mapToGlobal(QPoint(0, 0));
    constexpr int kSide = 176;  // px, of the magnified square
    const QPointF seen = hand->view()->viewportTransform().inverted().map(
        QPointF(hand->view()->viewport()->mapFromGlobal(QCursor::pos())));
    const double factor = 4.0 * std::max(1.0, hand->scale());
    int wrong = 0;
    int looked = 0;
    for (int y = 4; y < kSide - 4; y += 3) {
        for (int x = 4; x < kSide - 4; x += 3) {
            const QPointF fromMiddle(x + 0.5 - kSide / 2.0, y + 0.5 - kSide / 2.0);
            if (std::min(qAbs(fromMiddle.x()), qAbs(fromMiddle.y())) < 4.0)
                continue;  // the cross
            const QPointF point = seen + fromMiddle / factor;
            const double inPixelX = point.x() - std::floor(point.x());
            const double inPixelY = point.y() - std::floor(point.y());
            // Where two pixels meet, either may be there.
            if (std::min({inPixelX, inPixelY, 1 - inPixelX, 1 - inPixelY}) < 1.0 / factor)
                continue;
            const int tile = point.x() < kFrame.width() ? 0 : 1;
            const int grey =
                greyAt(tile, int(std::floor(point.x())) - tile * kFrame.width(), int(std::floor(point.y())));
            ++looked;
            wrong += qGray(screen.pixel(corner + QPoint(x, y))) != grey;
        }
    }
    return looked > 100 && wrong == 0;
}

void TestMeasureOnScreen::loupeOnTheScreen_data() {
    everyTool_data();
}

void TestMeasureOnScreen::loupeOnTheScreen() {
    QFETCH(double, scale);
    start();
    QVERIFY(zoom(scale));
    // The seam of the two tiles is in sight.
    hand->view()->centerOn(kFrame.width() + 30.0 / hand->scale(), kFrame.height() / 2.0);
    const QPoint seam = hand->placeOf({double(kFrame.width()), kFrame.height() / 2.0});
    QVERIFY(hand->moveTo({-100, 50}));
    QVERIFY(!loupeMagnifies());
    QVERIFY(hand->pressButton("measureLine"));
    for (const QPoint place : {QPoint(-100, 50), QPoint(130, -70), QPoint(seam.x(), 10)}) {
        QVERIFY(hand->moveTo(place));
        QTRY_VERIFY_WITH_TIMEOUT(loupeMagnifies(), kWait);
    }
    // Live: it shows what the next frame shows.
    window->sendFrame(0, 77, 0, kFrame);
    window->sendFrame(1, 77, 0, kFrame);
    QTRY_VERIFY_WITH_TIMEOUT(!loupeMagnifies(), kWait);
    sendPictures();
    QTRY_VERIFY_WITH_TIMEOUT(loupeMagnifies(), kWait);
    QVERIFY(hand->pressButton("measureSelect"));
    QVERIFY(hand->moveTo({-100, 50}));
    QVERIFY(!hand->view()->findChild<QWidget*>(QStringLiteral("loupe"))->isVisible());
}

void TestMeasureOnScreen::loupeForTilt() {
    start();
    QVERIFY(zoom(1.0));
    const auto* loupe = hand->view()->findChild<QWidget*>(QStringLiteral("loupe"));
    QVERIFY(hand->pressButton("actionTilt"));
    QVERIFY(hand->moveTo({-100, 50}));
    QTRY_VERIFY_WITH_TIMEOUT(loupe->isVisible(), kWait);
    QVERIFY(hand->moveTo({120, 60}));
    QTRY_VERIFY_WITH_TIMEOUT(loupeMagnifies(), kWait);
    QVERIFY(hand->click({120, 60}));
    QTRY_COMPARE_WITH_TIMEOUT(hand->scene()->markCount(), 1, kWait);
    QVERIFY(hand->moveTo({100, 60}));
    QTRY_VERIFY_WITH_TIMEOUT(!loupe->isVisible(), kWait);
    // Dragged, with a closer look, too.
    QVERIFY(hand->moveTo({122, 62}));
    QVERIFY(hand->press());
    QVERIFY(hand->moveTo({150, 80}));
    QTRY_VERIFY_WITH_TIMEOUT(loupe->isVisible(), kWait);
    QVERIFY(hand->release());
    QTRY_VERIFY_WITH_TIMEOUT(!loupe->isVisible(), kWait);
    // With the bar hidden there is none.
    QVERIFY(chooseInToolBarMenu());
    QVERIFY(hand->pressButton("actionTilt"));
    QVERIFY(hand->moveTo({-100, 50}));
    QVERIFY(hand->moveTo({-90, 50}));
    QVERIFY(!loupe->isVisible());
}

TEST_ON_DESKTOP_MAIN(TestMeasureOnScreen)
#include "tst_measureonscreen.moc"
