// SPDX-License-Identifier: Apache-2.0
#include "control/picturefile.h"

#include <QFileInfo>
#include <QImageWriter>
#include <exception>
#include <new>

#include "control/encoderpicture.h"
#include "control/pngfile.h"
#include "platform/files.h"

namespace {

QString suffixOf(const QString& fileName) {
    return QFileInfo(fileName).suffix();
}

/// What the encoder of such a file takes fastest. JPEG and BMP hold no alpha.
QImage::Format formatFor(const QString& fileName) {
    const QString suffix = suffixOf(fileName).toLower();
    if (suffix == QLatin1String("jpg") || suffix == QLatin1String("jpeg"))
        return QImage::Format_RGB888;
    if (suffix == QLatin1String("bmp"))
        return QImage::Format_RGB32;
    return QImage::Format_ARGB32_Premultiplied;
}

QString notWritten(const QString& fileName, const QString& problem) {
    qWarning("%s was not written: %s", qUtf8Printable(fileName), qUtf8Printable(problem));
    return problem;
}

/// Runs what makes and writes a picture; nothing that it throws goes further.
template <typename Work>
QString withoutExceptions(const QString& fileName, const Work& work) {
    try {
        return work();
    } catch (const std::bad_alloc&) {
        return notWritten(fileName, QStringLiteral("No memory"));
    } catch (const std::exception& error) {
        return notWritten(fileName, QString::fromLocal8Bit(error.what()).simplified());
    } catch (...) {
        return notWritten(fileName, QStringLiteral("Unknown error"));
    }
}

}  // namespace

QString writePicture(const QImage& picture, const QString& fileName, int quality) {
    return withoutExceptions(fileName, [&] {
        const auto write = [&](QIODevice& file) {
            const QByteArray format = suffixOf(fileName).toLower().toLatin1();
            if (format == "png")
                return writePng(picture, quality, file);
            QImageWriter writer(&file, format);
            writer.setQuality(quality);
            return writer.write(picture) ? QString() : writer.errorString();
        };
        return platform::replaceFile(fileName, write, platform::Disk::LetItFollow);
    });
}

QString writeCompanion(const QString& fileName, const QByteArray& content) {
    return withoutExceptions(fileName, [&] {
        const auto write = [&](QIODevice& file) {
            return file.write(content) == content.size() ? QString() : file.errorString();
        };
        return platform::replaceFile(fileName, write, platform::Disk::LetItFollow);
    });
}

QImage takeScene(QGraphicsScene* scene, const QString& fileName) {
    try {
        return encoderPicture(scene, formatFor(fileName)).image;
    } catch (...) {
        return {};
    }
}

QString saveScene(QGraphicsScene* scene, const QString& fileName, int quality) {
    return withoutExceptions(fileName, [&] {
        const ScenePicture picture = encoderPicture(scene, formatFor(fileName));
        return picture.image.isNull() ? notWritten(fileName, picture.problem)
                                      : writePicture(picture.image, fileName, quality);
    });
}
