// SPDX-License-Identifier: Apache-2.0
#include "groundtruth.h"

#include <QDebug>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSaveFile>

#include <array>

#include "optics.h"

namespace kvsim {

namespace {

QJsonArray toJson(cv::Point2d point) {
    return {point.x, point.y};
}

QJsonArray toJson(const cv::Matx33d& matrix) {
    QJsonArray rows;
    for (int row = 0; row < 3; ++row)
        rows.append(QJsonArray{matrix(row, 0), matrix(row, 1), matrix(row, 2)});
    return rows;
}

/// Top-left, top-right, bottom-left, bottom-right.
std::array<cv::Point2d, 4> cornersOf(const cv::Rect2d& area) {
    return {area.tl(), cv::Point2d(area.x + area.width, area.y), cv::Point2d(area.x, area.y + area.height),
            area.br()};
}

QJsonObject modeTruth(const Configuration& configuration, const Scene& scene, int camera, QSize size) {
    const cv::Matx33d homography =
        sceneToFrame(camera, scene.centreOf(camera), configuration.perspective, size);
    QJsonArray corners;
    bool areInside = true;
    for (const cv::Point2d& corner : cornersOf(scene.field(camera))) {
        const cv::Point2d place = mapped(homography, corner);
        corners.append(toJson(place));
        areInside = areInside && place.x >= 0 && place.y >= 0 && place.x <= size.width() - 1 &&
                    place.y <= size.height() - 1;
    }
    return {{QStringLiteral("width"), size.width()},
            {QStringLiteral("height"), size.height()},
            {QStringLiteral("sceneToFrame"), toJson(homography)},
            {QStringLiteral("corners"), corners},
            {QStringLiteral("cornersInside"), areInside}};
}

QJsonObject cameraTruth(const Configuration& configuration, const Scene& scene, int camera) {
    const CameraConfiguration& one = configuration.cameras[camera];
    QJsonArray sceneCorners;
    for (const cv::Point2d& corner : cornersOf(scene.field(camera)))
        sceneCorners.append(toJson(corner));
    QJsonArray modes;
    for (const QSize& size : one.modes)
        modes.append(modeTruth(configuration, scene, camera, size));
    return {{QStringLiteral("index"), camera},
            {QStringLiteral("serial"), QString::fromUtf8(one.serial)},
            {QStringLiteral("xCount"), Scene::kFieldColumns},
            {QStringLiteral("yCount"), Scene::kFieldRows},
            {QStringLiteral("sceneCorners"), sceneCorners},
            {QStringLiteral("mode"), one.mode},
            {QStringLiteral("modes"), modes}};
}

}  // namespace

QJsonObject groundTruth(const Configuration& configuration, const Scene& scene) {
    QJsonArray cameras;
    for (int camera = 0; camera < configuration.cameras.size(); ++camera)
        cameras.append(cameraTruth(configuration, scene, camera));
    const bool isRow = configuration.arrangement == Arrangement::Row;
    return {{QStringLiteral("format"), QStringLiteral("kvcap2-ground-truth")},
            {QStringLiteral("version"), 1},
            {QStringLiteral("arrangement"), isRow ? QStringLiteral("row") : QStringLiteral("grid")},
            {QStringLiteral("scene"), QJsonObject{{QStringLiteral("width"), scene.size().width},
                                                  {QStringLiteral("height"), scene.size().height},
                                                  {QStringLiteral("cell"), Scene::kCell},
                                                  {QStringLiteral("unitsPerMillimetre"), 10},
                                                  {QStringLiteral("gridOrigin"), toJson(scene.gridOrigin())},
                                                  {QStringLiteral("gridColumns"), scene.gridCells().width},
                                                  {QStringLiteral("gridRows"), scene.gridCells().height}}},
            {QStringLiteral("cameras"), cameras}};
}

void writeGroundTruth(const QString& fileName, const Configuration& configuration, const Scene& scene) {
    QSaveFile file(fileName);
    if (file.open(QIODevice::WriteOnly)) {
        file.write(QJsonDocument(groundTruth(configuration, scene)).toJson());
        if (file.commit())
            return;
    }
    qWarning().noquote() << "KVCap2: cannot write the ground truth to" << fileName << '-'
                         << file.errorString();
}

}  // namespace kvsim
