// SPDX-License-Identifier: Apache-2.0
#include "soak/picturestore.h"

#include <QBuffer>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QRegularExpression>
#include <QThread>
#include <QtEndian>
#include <utility>

#include "soak/clock.h"

namespace {

constexpr int kPeriod = 20;  // ms between two looks at the folder
constexpr int kMostFaults = 50;
const QString kDiaryTime = QStringLiteral("yyyyMMddhhmmsszzz");  // as in the names of pictures

/// The decoders forgive a missing end; an archive does not.
bool isCutOff(const QByteArray& bytes, const QByteArray& suffix) {
    if (suffix == "png")
        return !bytes.startsWith("\x89PNG") || !bytes.endsWith("IEND\xae\x42\x60\x82");
    if (suffix == "jpg")
        return !bytes.startsWith("\xff\xd8") || !bytes.endsWith("\xff\xd9");
    return !bytes.startsWith("BM") || bytes.size() < 6 ||
           qFromLittleEndian<quint32>(bytes.constData() + 2) != quint32(bytes.size());
}

}  // namespace

QString pictureFault(const QString& fileName, QSize* size) {
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return file.errorString();
    QByteArray bytes = file.readAll();
    const QByteArray suffix = QFileInfo(fileName).suffix().toLatin1();
    if (isCutOff(bytes, suffix))
        return QStringLiteral("cut off at %1 bytes").arg(bytes.size());
    QBuffer buffer(&bytes);
    QImageReader reader(&buffer, suffix);
    const QImage image = reader.read();
    if (image.isNull())
        return reader.errorString();
    *size = image.size();
    return {};
}

PictureStore::PictureStore(QString pictureFolder) : folder(std::move(pictureFolder)), changed(nowMs()) {
    begin([this] { turn(); });
}

PictureStore::~PictureStore() {
    stop();
}

void PictureStore::expectSnapshot(const QString& by) {
    const QMutexLocker locker(&mutex);
    diaryLines.append(QDateTime::currentDateTime().toString(kDiaryTime) + QLatin1Char(' ') + by);
    ++snapshotCounts.commanded;
    ++openSnapshots;
    changed = nowMs();
}

void PictureStore::expectNamed(const QString& baseName) {
    const QMutexLocker locker(&mutex);
    ++namedCounts.commanded;
    openNames.insert(baseName);
    changed = nowMs();
}

int PictureStore::outstanding() const {
    const QMutexLocker locker(&mutex);
    return openSnapshots + openNames.size();
}

void PictureStore::settle() {
    const QMutexLocker locker(&mutex);
    if (openSnapshots >= 0)
        snapshotCounts.missing += openSnapshots;
    namedCounts.missing += openNames.size();
    for (const QString& name : qAsConst(openNames))
        diaryLines.append(name + QStringLiteral(": missing"));
    openSnapshots = 0;
    openNames.clear();
    changed = nowMs();
}

void PictureStore::expectNewSize() {
    const QMutexLocker locker(&mutex);
    wanted = QSize();
}

PictureStore::Counts PictureStore::snapshots() const {
    const QMutexLocker locker(&mutex);
    return snapshotCounts;
}

PictureStore::Counts PictureStore::named() const {
    const QMutexLocker locker(&mutex);
    return namedCounts;
}

QStringList PictureStore::faults() const {
    const QMutexLocker locker(&mutex);
    return faultList;
}

QStringList PictureStore::sizes() const {
    const QMutexLocker locker(&mutex);
    return sizeList;
}

QStringList PictureStore::diary() const {
    const QMutexLocker locker(&mutex);
    return diaryLines;
}

void PictureStore::turn() {
    const QStringList names = QDir(folder).entryList(QDir::Files, QDir::Name);
    for (const QString& name : names)
        check(name);
    QThread::msleep(kPeriod);
}

void PictureStore::check(const QString& name) {
    static const QRegularExpression snapshot(QStringLiteral("^snapshot-\\d{17}\\.(png|jpg|bmp)$"));
    const QString path = QDir(folder).filePath(name);
    if (toLose.exchange(0) == 1) {
        QFile::remove(path);
        return;
    }
    QSize size;
    QString fault = pictureFault(path, &size);
    QFile::remove(path);

    const QMutexLocker locker(&mutex);
    changed = nowMs();
    const QString base = QFileInfo(name).completeBaseName();
    if (snapshot.match(name).hasMatch()) {
        ++snapshotCounts.found;
        diaryLines.append(name);
        if (openSnapshots > 0)
            --openSnapshots;
        else
            ++snapshotCounts.surplus;
    } else {
        ++namedCounts.found;
        if (!openNames.remove(base)) {
            ++namedCounts.surplus;
            diaryLines.append(name + QStringLiteral(": nobody asked for it"));
        }
    }
    if (fault.isEmpty() && wanted.isEmpty()) {
        wanted = size;
        sizeList.append(QStringLiteral("%1x%2").arg(size.width()).arg(size.height()));
    }
    if (fault.isEmpty() && size != wanted)
        fault = QStringLiteral("%1 x %2 px, not %3 x %4")
                    .arg(size.width())
                    .arg(size.height())
                    .arg(wanted.width())
                    .arg(wanted.height());
    if (!fault.isEmpty() && faultList.size() < kMostFaults)
        faultList.append(name + QStringLiteral(": ") + fault);
}
