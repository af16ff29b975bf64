// SPDX-License-Identifier: Apache-2.0
#include <QFontDatabase>
#include <QMenu>
#include <cstdlib>

#include "marks/figure.h"
#include "support/goldenpicture.h"
#include "support/mainwindowtest.h"
#include "support/measureclicks.h"
#include "support/measureview.h"
#include "support/recordingcamera.h"

namespace {

constexpr double kPerPixel = 0.25;  // mm

/// As a scale and calibrated tiles make it.
PlaneFigure millimetres(const QVector<QPointF>& points) {
    PlaneFigure figure;
    for (const QPointF point : points)
        figure.points.append(point * kPerPixel);
    figure.unit = 1;
    figure.pixel = kPerPixel;
    return figure;
}

}  // namespace

/// Figures as they are seen: against pictures that were looked at, and in saved pictures.
class TestMeasureGolden : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void figures_data();
    void figures();
    void strokesCoverNoPixelsThatAreMeasured_data();
    void strokesCoverNoPixelsThatAreMeasured();
    void savedPicturesAreTheSameAtEveryZoom();
};

void TestMeasureGolden::initTestCase() {
    // The golden pictures are made with this font.
    QVERIFY(QFontDatabase().families().contains(QStringLiteral("DejaVu Sans")));
    QApplication::setFont(QFont(QStringLiteral("DejaVu Sans"), 9));
}

void TestMeasureGolden::figures_data() {
    QTest::addColumn<int>("index");
    QTest::addColumn<double>("scale");
    QTest::addColumn<bool>("isScaled");
    for (int i = 0; i < drawings().size(); ++i) {
        for (const double scale : {0.37, 1.0, 3.0})
            QTest::addRow("%s at %g", drawings()[i].name, scale) << i << scale << true;
        QTest::addRow("%s in px", drawings()[i].name) << i << 1.0 << false;
    }
}

/// As they are drawn, with their captions and handles. BIVISTA_NEW_PICTURES=folder writes new ones there, to
/// be looked at.
void TestMeasureGolden::figures() {
    QFETCH(int, index);
    QFETCH(double, scale);
    QFETCH(bool, isScaled);
    const Drawn& drawn = drawings()[index];
    MeasureView view;
    if (isScaled)
        view.scene->setPlane(millimetres);
    // Lines across the scene have their captions at its left and its upper edge.
    const QPointF sight(drawn.tool == MeasureTool::HLine ? 0.0 : 500.0,
                        drawn.tool == MeasureTool::VLine ? 0.0 : 500.0);
    view.zoomTo(scale, sight);
    QCOMPARE(view.scene->figureZoom, scale);
    view.tools->choose(drawn.tool);
    for (const QPointF place : drawn.clicks)
        view.click(place);
    if (drawn.tool == MeasureTool::Polygon)
        view.click(drawn.clicks.last(), Qt::RightButton);
    QCOMPARE(view.scene->markCount(), 1);
    view.tools->choose(MeasureTool::Select);
    view.paint();
    const QImage picture =
        view.view->grab(view.viewport()->geometry()).toImage().convertToFormat(QImage::Format_RGB32);
    compareWithGolden(picture, QStringLiteral(TEST_DATA "/measure"));
}

void TestMeasureGolden::strokesCoverNoPixelsThatAreMeasured_data() {
    QTest::addColumn<double>("scale");
    for (const double scale : {0.1, 0.37, 1.0, 3.0, 10.0})
        QTest::addRow("%g", scale) << scale;
}

/// A pen is about a px of the screen wide: in a close look it would hide what is measured.
void TestMeasureGolden::strokesCoverNoPixelsThatAreMeasured() {
    QFETCH(double, scale);
    MeasureView view;
    view.zoomTo(scale);
    view.drawLine({-150, 0}, {150, 0});
    view.tools->choose(MeasureTool::Select);
    view.paint();
    const QImage picture = view.view->grab(view.viewport()->geometry()).toImage();
    const QPoint middle = view.viewport()->rect().center();
    int stroke = 0;  // away from caption and handles
    for (int y = middle.y() - 20; y <= middle.y() + 20; ++y) {
        const QColor color = picture.pixelColor(middle.x() + 130, y);
        stroke += color.red() - color.blue() > 50 ? 1 : 0;
    }
    QVERIFY2(stroke == 1 || stroke == 2, qPrintable(QString::number(stroke)));
}

/// Whatever the view shows, and whatever is selected or begun in it.
void TestMeasureGolden::savedPicturesAreTheSameAtEveryZoom() {
    QVector<recording::Camera> cameras(2);
    for (auto& camera : cameras)
        camera.queryStatus = 5;  // the frames of the test are the only ones
    recording::reset(cameras);
    WindowUnderTest window;
    QVERIFY(WorkingFolder::write(QStringLiteral("setting.ini"),
                                 "[File]\nLang=1\nType=2\n[Pos]\nX0=0\nY0=0\nX1=320\nY1=0\n"));
    QByteArray lines;
    for (const char* line :
         {"Line #ff0000 1 1 | 20 30 420 60", "Circle #ffff00 1 1 | 100 150 200 150 150 100",
          "Rectangle #0000ff 1 1 | 300 100 400 200 20",
          "Polygon #00ff00 1 1 4 | 450 80 560 90 540 200 460 190 "})
        lines += QByteArray(line) + "\r\n";
    QVERIFY(WorkingFolder::write(QStringLiteral("mark0.txt"), lines));
    window.start();
    QTRY_VERIFY(window->isMaximized());
    window.sendFrame(0, 50, 0, {320, 240});
    window.sendFrame(1, 150, 0, {320, 240});
    window.action("actionLoad_Corner")->trigger();
    auto* scene = qobject_cast<InteractiveScene*>(window.view()->scene());
    QCOMPARE(scene->markCount(), 4);
    window->saveImageByName(QStringLiteral("without"));
    const QImage without(QStringLiteral("without.png"));
    QCOMPARE(without.size(), QSize(640, 240));

    const std::unique_ptr<QMenu> menu(window->createPopupMenu());
    menu->actions().last()->trigger();
    QVERIFY(window->findChild<QWidget*>(QStringLiteral("measureBar"))->isVisible());
    int saved = 0;
    for (const double scale : {0.37, 1.0, 3.0}) {
        window.view()->resetTransform();
        window.view()->scale(scale, scale);
        window.view()->viewport()->repaint();
        QCOMPARE(scene->figureZoom, scale);
        // With a figure selected, whose handles are over the view.
        window.action("measureSelect")->trigger();
        const QPoint onLine = window.view()->mapFromScene(220, 45);
        QTest::mouseClick(window.view()->viewport(), Qt::LeftButton, {}, onLine);
        QVERIFY(window.action("measureDelete")->isEnabled());
        const QString name = QString::number(++saved);
        window->saveImageByName(name);
        QCOMPARE(QImage(name + QStringLiteral(".png")), without);
        QCOMPARE(scene->figureZoom, scale);
    }
}

QTEST_MAIN(TestMeasureGolden)
#include "tst_measuregolden.moc"
