// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QLineEdit>
#include <QPushButton>
#include <opencv2/imgproc.hpp>

#include "calibration/calibratedialog.h"
#include "platform/fileset.h"
#include "support/mainwindowtest.h"
#include "support/recordingcamera.h"

inline const QSize kFrame(320, 240);

struct Quad {
    QPointF corners[4];
};

/// The marked corners of tile `i` in frame px, a little different in each, in the order of a file.
inline Quad markedIn(int i) {
    return {{{40.3 + 3.1 * i, 30.7 + 2.3 * i}, {260.8 + i, 36.2}, {35.4, 200.9 - i}, {270.6, 205.1 + 2 * i}}};
}

inline QStringList texts(const QVector<int>& counts) {
    QStringList list;
    for (const int count : counts)
        list.append(QString::number(count));
    return list;
}

/// A frame that is different everywhere and for each tile.
inline QImage frameOf(int tile, QImage::Format format) {
    QImage image(kFrame, format);
    cv::RNG random(1000 + static_cast<uint64_t>(tile));
    for (int y = 0; y < image.height(); ++y) {
        cv::Mat row(1, image.width() * image.depth() / 8, CV_8U, image.scanLine(y));
        random.fill(row, cv::RNG::UNIFORM, 0, 256);
    }
    return image;
}

/// A main window whose corners are marked and whose Execute is answered.
class CalibratingWindow {
protected:
    void setUp();

    static void start(WindowUnderTest& window, int count, const QByteArray& ini = {});
    static void loadMarks(const WindowUnderTest& window, int count, int layoutMode,
                          const QByteArray& more = {});
    void execute(const WindowUnderTest& window, const QStringList& xs = {}, bool accept = true);
    static void show(const WindowUnderTest& window, int tile, QImage::Format format);
    static QImage expected(int tile, int count, int layoutMode, const QVector<int>& xs,
                           const QVector<int>& ys, QImage::Format format);
    static QVector<QGraphicsPixmapItem*> items(const WindowUnderTest& window);

    int dialogs = 0;
};

inline void CalibratingWindow::setUp() {
    QVector<recording::Camera> cameras(4);
    for (int i = 0; i < 4; ++i) {
        cameras[i].serial = "SN" + QByteArray::number(i);
        cameras[i].width = kFrame.width();
        cameras[i].height = kFrame.height();
        cameras[i].queryStatus = 5;  // the frames of the test are the only ones
    }
    recording::reset(cameras);
    dialogs = 0;
}

inline void CalibratingWindow::start(WindowUnderTest& window, int count, const QByteArray& ini) {
    QVERIFY(WorkingFolder::write(
        QStringLiteral("setting.ini"),
        ini + "[File]\nLang=1\n[Pos]\nX0=0\nY0=0\nX1=320\nY1=0\nX2=640\nY2=0\nX3=960\nY3=0\n"));
    recording::setReportedCount(count);
    window.start();
    QTRY_VERIFY(window->isMaximized());
    for (int i = 0; i < count; ++i)
        show(window, i, QImage::Format_Grayscale8);
    window.answerer.boxes.clear();  // the hot key's: there is none on this platform
}

inline void CalibratingWindow::show(const WindowUnderTest& window, int tile, QImage::Format format) {
    const QImage frame = frameOf(tile, format);
    auto* buffer = new unsigned char[static_cast<size_t>(frame.sizeInBytes())];
    std::copy_n(frame.constBits(), frame.sizeInBytes(), buffer);
    const QImage wrapped(buffer, frame.width(), frame.height(), frame.bytesPerLine(), format);
    window->process(tile, wrapped, buffer, static_cast<quint64>(QDateTime::currentMSecsSinceEpoch()));
}

/// Tile items in the order of their making, which is that of the tiles.
inline QVector<QGraphicsPixmapItem*> CalibratingWindow::items(const WindowUnderTest& window) {
    QVector<QGraphicsPixmapItem*> found;
    const auto all = window.view()->scene()->items(Qt::AscendingOrder);
    for (QGraphicsItem* item : all) {
        if (auto* tile = qgraphicsitem_cast<QGraphicsPixmapItem*>(item))
            found.append(tile);
    }
    return found;
}

/// By Load Corner; in an order that has to be put right.
inline void CalibratingWindow::loadMarks(const WindowUnderTest& window, int count, int layoutMode,
                                         const QByteArray& more) {
    QByteArray content = more;
    for (int i = 0; i < count; ++i) {
        const QPointF origin = layoutMode == 0 ? QPointF(i % 2 * kFrame.width(), i / 2 * kFrame.height())
                                               : QPointF(i * kFrame.width(), 0);
        for (const int corner : {3, 0, 2, 1}) {
            const QPointF point = origin + markedIn(i).corners[corner];
            content += QStringLiteral("Coordinates #0000ff 1 1 | %1 %2\r\n")
                           .arg(point.x())
                           .arg(point.y())
                           .toLatin1();
        }
    }
    QVERIFY(WorkingFolder::write(QStringLiteral("mark0.txt"), content));
    window.action("actionLoad_Corner")->trigger();
}

/// Triggers Execute and answers its dialog; counts that are given are typed in.
inline void CalibratingWindow::execute(const WindowUnderTest& window, const QStringList& counts,
                                       bool accept) {
    QTimer answer;
    answer.callOnTimeout([&] {
        auto* dialog = qobject_cast<CalibrateDialog*>(QApplication::activeModalWidget());
        if (!dialog || !dialog->isVisible())
            return;
        ++dialogs;
        const char* names[] = {"leXCount", "leXCount1", "leXCount2", "leXCount3",
                               "leYCount", "leYCount1", "leYCount2", "leYCount3"};
        for (int i = 0; i < counts.size(); ++i)
            dialog->findChild<QLineEdit*>(QLatin1String(names[i]))->setText(counts[i]);
        dialog->findChild<QPushButton*>(accept ? QStringLiteral("btnOK") : QStringLiteral("btnCancel"))
            ->click();
    });
    answer.start(10);
    window.action("actionExecute")->trigger();
}

/// What tile `tile` has to show, computed with OpenCV and plain arithmetic from the marks and counts alone.
inline QImage CalibratingWindow::expected(int tile, int count, int layoutMode, const QVector<int>& xs,
                                          const QVector<int>& ys, QImage::Format format) {
    const auto at = [](QPointF point) { return cv::Point2f(float(point.x()), float(point.y())); };
    const Quad zero = markedIn(0);
    const auto cellW = float((zero.corners[1].x() - zero.corners[0].x()) / xs[0]);
    const auto cellH = float((zero.corners[3].y() - zero.corners[0].y()) / ys[0]);
    std::array<std::array<cv::Point2f, 4>, 4> dst;
    for (int i = 0; i < count; ++i) {
        const cv::Point2f tl = at(markedIn(i).corners[0]);
        const float right = tl.x + float(xs[i]) * cellW;
        const float bottom = tl.y + float(ys[i]) * cellH;
        dst[size_t(i)] = {tl, cv::Point2f(right, tl.y), cv::Point2f(tl.x, bottom),
                          cv::Point2f(right, bottom)};
    }
    cv::Point2f src[4];
    for (int i = 0; i < 4; ++i)
        src[i] = at(markedIn(tile).corners[i]);
    const cv::Mat transform = cv::getPerspectiveTransform(src, dst[size_t(tile)].data(), cv::DECOMP_LU);
    cv::Mat inverse = transform.inv(cv::DECOMP_LU);
    inverse.convertTo(inverse, CV_32F);
    const int w = kFrame.width();
    const int h = kFrame.height();
    const auto tl = [&](int i) { return cv::Point2d(dst[size_t(i)][0]); };
    const auto tr = [&](int i) { return cv::Point2d(dst[size_t(i)][1]); };
    const auto bl = [&](int i) { return cv::Point2d(dst[size_t(i)][2]); };
    cv::Rect crop;
    if (layoutMode != 0) {
        int topMin = int(tr(0).y);
        int topMax = topMin;
        for (int i = 1; i < count; ++i) {
            topMin = std::min(topMin, int(tr(i).y));
            topMax = std::max(topMax, int(tr(i).y));
        }
        crop.x = tile == 0 ? 0 : int(tl(tile).x);
        crop.y = int(tr(tile).y - topMin);
        crop.height = topMin - topMax + h;
        crop.width = tile == 0 ? int(tr(0).x) : int(tr(tile).x - tl(tile).x);
        if (tile == count - 1)
            crop.width = int(w - tl(tile).x);
    } else {
        const int left = std::min(int(tr(0).x), int(tr(2).x));
        const int right = std::min(int(w - tl(1).x), int(w - tl(3).x));
        const int top = std::min(int(bl(0).y), int(bl(1).y));
        const int bottom = std::min(int(h - tl(2).y), int(h - tl(3).y));
        if (tile == 0)
            crop = {int(tr(0).x - left), int(bl(0).y - top), left, top};
        else if (tile == 1)
            crop = {int(tl(1).x), int(bl(1).y - top), right, top};
        else if (tile == 2)
            crop = {int(tr(2).x - left), int(tl(2).y), left, bottom};
        else
            crop = {int(tl(3).x), int(tl(3).y), right, bottom};
    }
    // Also where it reaches past the picture.
    cv::Mat grid(crop.height, crop.width, CV_32FC2);
    for (int r = 0; r < grid.rows; ++r)
        for (int c = 0; c < grid.cols; ++c)
            grid.at<cv::Vec2f>(r, c) = {float(crop.x + c), float(crop.y + r)};
    cv::perspectiveTransform(grid, grid, inverse);
    std::vector<cv::Mat> channels;
    cv::split(grid, channels);
    cv::Mat mapX;
    cv::Mat mapY;
    cv::convertMaps(channels[0], channels[1], mapX, mapY, CV_32FC1, false);
    const QImage frame = frameOf(tile, format);
    const cv::Mat input(frame.height(), frame.width(),
                        format == QImage::Format_Grayscale8 ? CV_8UC1 : CV_8UC3,
                        const_cast<uchar*>(frame.constBits()), size_t(frame.bytesPerLine()));
    cv::Mat output;
    cv::remap(input, output, mapX, mapY, cv::INTER_NEAREST, cv::BORDER_REPLICATE, cv::Scalar(0));
    return QImage(output.data, output.cols, output.rows, int(output.step), format).copy();
}
