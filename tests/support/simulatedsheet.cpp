// SPDX-License-Identifier: Apache-2.0
#include "support/simulatedsheet.h"

#include <QImage>
#include <QRectF>
#include <algorithm>
#include <cmath>
#include <vector>

#include "calibration/calibration.h"
#include "calibration/correction.h"
#include "calibration/plane.h"
#include "configuration.h"
#include "framerenderer.h"
#include "live/tilelayout.h"
#include "optics.h"

namespace {

constexpr int kCameras = 4;
constexpr int kGrid = 0;         // layout mode
constexpr double kBorder = 8.0;  // px; nearer to the picture's border a mark is not all there
constexpr double kMark = 15.0;   // scene units, radius
constexpr double kRinged = 46.0;

QPointF toQt(cv::Point2d point) {
    return {point.x, point.y};
}

kvsim::Configuration configurationOf(QSize frame) {
    kvsim::Configuration configuration;
    configuration.arrangement = kvsim::Arrangement::Grid;
    configuration.moving = false;
    configuration.cameras.resize(kCameras);
    for (kvsim::CameraConfiguration& camera : configuration.cameras)
        camera.modes = {frame};
    return configuration;
}

QImage frameOf(const kvsim::Scene& scene, int camera, QSize size) {
    kvsim::Look look;
    look.noise = kvsim::Configuration().noise;
    QImage picture(size, QImage::Format_Grayscale8);
    std::vector<uint8_t> pixels(static_cast<size_t>(size.width()) * static_cast<size_t>(size.height()));
    kvsim::FrameRenderer renderer(scene, camera, uint32_t(camera + 1), 1.0);
    renderer.render({size, 1, false, false}, look, {}, false, pixels.data());
    for (int y = 0; y < size.height(); ++y)
        std::copy_n(pixels.data() + static_cast<size_t>(y) * static_cast<size_t>(size.width()), size.width(),
                    picture.scanLine(y));
    return picture;
}

/// Crossings that the sheet's plates leave free, as the sheet is drawn.
bool isDrawn(int column, int row) {
    const auto inField = [](int index, int cells) { return (index + cells) % cells; };
    const int inColumn = inField(column, kvsim::Scene::kFieldColumns);
    const int inRow = inField(row, kvsim::Scene::kFieldRows);
    return !(inRow >= 2 && inRow <= 3 && inColumn >= 2 && inColumn <= 7);
}

bool isRinged(int column, int row) {
    return column % kvsim::Scene::kFieldColumns == 0 && row % kvsim::Scene::kFieldRows == 0;
}

}  // namespace

double SheetCrossing::distanceTo(QPointF seen) const {
    double least = HUGE_VAL;
    for (const QPointF place : places)
        least = std::min(least, std::hypot(seen.x() - place.x(), seen.y() - place.y()));
    return least;
}

SimulatedSheet simulatedSheet(QSize frame, bool isSmooth) {
    const kvsim::Scene scene(configurationOf(frame));
    CornerLists corners;
    std::array<cv::Matx33d, kCameras> toFrame;
    for (int i = 0; i < kCameras; ++i) {
        toFrame[size_t(i)] = kvsim::sceneToFrame(i, scene.centreOf(i), 1.0, frame);
        const cv::Rect2d field = scene.field(i);
        for (const cv::Point2d corner : {field.tl(), cv::Point2d(field.x + field.width, field.y),
                                         cv::Point2d(field.x, field.y + field.height), field.br()}) {
            const cv::Point2d place = kvsim::mapped(toFrame[size_t(i)], corner);
            corners[size_t(i)].append({place.x, place.y});
        }
    }
    GridCounts columns;
    GridCounts rows;
    columns.fill(kvsim::Scene::kFieldColumns);
    rows.fill(kvsim::Scene::kFieldRows);
    const Calibrations calibrations = computeCalibrations(corners, columns, rows, kCameras);
    Correction correction;
    correction.isSmooth = isSmooth;
    for (int i = 0; i < kCameras; ++i) {
        if (calibrations.tiles.size() != kCameras ||
            !correction.take(i, calibrations.tiles[size_t(i)], frame))
            qFatal("no correction");
    }
    const auto geometry = computeCropGeometry(correction.dstCorners, kCameras, kGrid, frame);
    const auto offsets = planeOffsets(correction.dstCorners, kGrid, kCameras, frame);
    SimulatedSheet sheet;
    QVector<QSize> sizes;
    for (int i = 0; i < kCameras; ++i) {
        TilePicture tile;
        tile.picture = correctedPicture(frameOf(scene, i, frame), correction, i, kCameras, kGrid);
        tile.fromFrame = nearestFromFrame(correction, i, kCameras, kGrid, frame, tile.picture.size());
        sizes.append(tile.picture.size());
        sheet.tiles.append(tile);
    }
    const auto places = correctedPositions(sizes, geometry->rowWidths, kGrid);
    for (int i = 0; i < kCameras; ++i) {
        sheet.tiles[i].place = places[i];
        sheet.tiles[i].planeOffset = offsets[size_t(i)];
    }

    const cv::Size cells = scene.gridCells();
    const cv::Point2d zero = scene.field(0).tl();
    for (int row = -1; row < cells.height; ++row) {
        for (int column = -1; column < cells.width; ++column) {
            if (!isDrawn(column, row))
                continue;
            SheetCrossing crossing;
            crossing.column = column;
            crossing.row = row;
            crossing.isRinged = isRinged(column, row);
            const double radius = (crossing.isRinged ? kRinged : kMark) * frame.width() / 2560.0;
            QVector<QPointF> beside;
            for (int i = 0; i < kCameras; ++i) {
                const cv::Matx33d whole = cv::Matx33d(correction.transforms[size_t(i)]) * toFrame[size_t(i)];
                const cv::Point2d corrected = kvsim::mapped(
                    whole, zero + cv::Point2d(column * kvsim::Scene::kCell, row * kvsim::Scene::kCell));
                const QRect cut = cropRectangle(*geometry, correction.dstCorners, kGrid, i);
                const QPointF inTile = toQt(corrected) - cut.topLeft() + QPointF(0.5, 0.5);
                const QRectF area(QPointF(), sizes[i]);
                if (area.contains(inTile))
                    crossing.places.prepend(inTile + places[i]);
                else if (area.adjusted(-radius, -radius, radius, radius).contains(inTile))
                    crossing.places.append(inTile + places[i]);
            }
            if (crossing.places.isEmpty())
                continue;
            QRectF all;
            for (const TilePicture& tile : qAsConst(sheet.tiles))
                all |= QRectF(tile.place, tile.picture.size());
            if (!all.adjusted(radius, radius, -radius, -radius)
                     .adjusted(kBorder, kBorder, -kBorder, -kBorder)
                     .contains(crossing.place()))
                continue;
            crossing.isAtSeam = crossing.places.size() > 1;
            sheet.crossings.append(crossing);
        }
    }
    return sheet;
}
