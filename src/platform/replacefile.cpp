#include <QFileInfo>
#include <QSaveFile>
#include <QTemporaryFile>
#include <filesystem>

#include "platform/platform.h"

namespace {

// The size is asked of the disk: a full one can take the bytes into a buffer and lose them afterwards.
bool isWritten(QFileDevice& file, const QByteArray& content) {
    return file.write(content) == content.size() && file.flush() && file.size() == content.size();
}

/// For names so long that one with an ending more is too long: beside it under a short name, then in its
/// place.
bool replaceUnderShortName(const QString& fileName, const QByteArray& content) {
    QTemporaryFile file(QFileInfo(fileName).path() + QStringLiteral("/bivista-XXXXXX"));
    if (!file.open() || !isWritten(file, content))
        return false;
    file.setPermissions(file.permissions() | QFileDevice::ReadGroup | QFileDevice::ReadOther);
    file.close();
    std::error_code error;
    std::filesystem::rename(std::filesystem::u8path(file.fileName().toStdString()),
                            std::filesystem::u8path(fileName.toStdString()), error);
    return !error;
}

}  // namespace

bool platform::replaceFile(const QString& fileName, const QByteArray& content) {
    QSaveFile file(fileName);
    if (file.open(QIODevice::WriteOnly) && isWritten(file, content) && file.commit())
        return true;
    const QString reason = file.errorString();
    file.cancelWriting();
    if (!QFileInfo(fileName).isDir() && replaceUnderShortName(fileName, content))
        return true;
    qWarning("%s was not written: %s", qUtf8Printable(fileName), qUtf8Printable(reason));
    return false;
}
