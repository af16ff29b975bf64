// SPDX-License-Identifier: Apache-2.0
#include "calibration/calibrationfile.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QXmlStreamReader>

#include "platform/fileset.h"

namespace {

/// Names the files of a run while they are put in place.
constexpr char kNote[] = ".Cal.commit";
/// A calibration takes about 1 KiB; whatever is larger is another file.
constexpr qint64 kMaxFileSize = 65536;
/// Its elements are nested three deep. OpenCV's parser calls itself for each level and has no limit of its
/// own.
constexpr int kMaxDepth = 16;

/// The node as a matrix of the given shape and type, or nothing.
std::optional<cv::Mat> readMatrix(const cv::FileStorage& storage, const char* node, int rows, int cols,
                                  int type) {
    // Asked first: the matrix would be made as large as a damaged file says.
    const cv::FileNode found = storage[node];
    if (static_cast<int>(found["rows"]) != rows || static_cast<int>(found["cols"]) != cols)
        return {};
    cv::Mat matrix;
    found >> matrix;
    if (matrix.rows != rows || matrix.cols != cols || matrix.channels() != 1)
        return {};
    // What is finite as a double need not be as a float.
    matrix.convertTo(matrix, type);
    if (!cv::checkRange(matrix))
        return {};
    return matrix;
}

/// Whether the text is a whole XML document of the right kind. OpenCV's parser is not asked about anything
/// else: it reads past the end of a text that stops behind an attribute's "=".
bool isStorageDocument(const QByteArray& text) {
    if (text.contains('\0'))
        return false;
    QXmlStreamReader xml(text);
    const bool isStorage = xml.readNextStartElement() && xml.name() == QLatin1String("opencv_storage");
    int depth = 1;
    while (!xml.atEnd() && depth <= kMaxDepth) {
        switch (xml.readNext()) {
            case QXmlStreamReader::StartElement:
                ++depth;
                break;
            case QXmlStreamReader::EndElement:
                --depth;
                break;
            default:
                break;
        }
    }
    return isStorage && depth <= kMaxDepth && !xml.hasError();
}

std::optional<Calibration> parse(const QByteArray& text) {
    const cv::FileStorage storage(std::string(text.constData(), static_cast<size_t>(text.size())),
                                  cv::FileStorage::READ | cv::FileStorage::MEMORY);
    if (!storage.isOpened())
        return {};
    const auto transform = readMatrix(storage, "calibrate", 3, 3, CV_64F);
    const auto cornerDst = readMatrix(storage, "corner_dst", 4, 2, CV_32F);
    const auto cornerSrc = readMatrix(storage, "corner_src", 4, 2, CV_32F);
    if (!transform || !cornerDst || !cornerSrc)
        return {};
    cv::Mat inverse;
    if (cv::invert(*transform, inverse, cv::DECOMP_LU) == 0.0 || !cv::checkRange(inverse))
        return {};
    return Calibration{*transform, *cornerSrc, *cornerDst};
}

/// Into memory first; of the name only the ending counts here.
QByteArray storageText(const Calibration& calibration) {
    cv::FileStorage storage(".xml", cv::FileStorage::WRITE | cv::FileStorage::MEMORY);
    storage << "calibrate" << calibration.transform;
    storage << "corner_src" << calibration.cornerSrc;
    storage << "corner_dst" << calibration.cornerDst;
    return QByteArray::fromStdString(storage.releaseAndGetString());
}

QString inFolder(const QString& folder, const QString& name) {
    return folder.isEmpty() ? name : QDir(folder).filePath(name);
}

}  // namespace

QString calibrationFileName(int tile) {
    return QStringLiteral("Cal%1.xml").arg(tile);
}

std::optional<Calibration> readCalibration(const QString& fileName) {
    QFile file(fileName);
    if (!file.exists())
        return {};
    if (!file.open(QIODevice::ReadOnly) || file.size() > kMaxFileSize) {
        qWarning("%s cannot be read; taken as missing", qUtf8Printable(fileName));
        return {};
    }
    // Parsed from memory: the storage's own file opening fails for folders outside the local code page.
    const QByteArray text = file.readAll();
    std::optional<Calibration> calibration;
    QByteArray reason = "not a calibration";
    try {
        if (isStorageDocument(text))
            calibration = parse(text);
    } catch (const std::exception& error) {
        reason = error.what();
    }
    if (!calibration)
        qWarning("%s: %s; taken as missing", qUtf8Printable(fileName), reason.simplified().constData());
    return calibration;
}

QString writeCalibrations(const std::vector<Calibration>& calibrations, const QString& folder) {
    QString problem;
    try {
        QVector<platform::NewFile> files;
        for (size_t tile = 0; tile < calibrations.size(); ++tile) {
            const QString name = calibrationFileName(static_cast<int>(tile));
            files.append({inFolder(folder, name), storageText(calibrations[tile])});
        }
        problem = platform::replaceFileSet(inFolder(folder, QLatin1String(kNote)), files);
    } catch (const std::exception& error) {
        problem = QString::fromLocal8Bit(error.what());
        qWarning("No calibration was written: %s", error.what());
    }
    return problem.isEmpty() ? problem : QStringLiteral("Calibration not written: %1").arg(problem);
}

QString recoverCalibrations(const QString& folder) {
    const QString problem = platform::recoverFileSet(inFolder(folder, QLatin1String(kNote)));
    return problem.isEmpty() ? problem
                             : QStringLiteral("Calibration files of different runs: %1").arg(problem);
}
