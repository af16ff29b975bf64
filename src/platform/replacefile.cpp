#include <QSaveFile>

#include "platform/platform.h"

bool platform::replaceFile(const QString& fileName, const QByteArray& content) {
    QSaveFile file(fileName);
    // The size is asked of the disk: a full one can take the bytes into a buffer and lose them afterwards.
    if (file.open(QIODevice::WriteOnly) && file.write(content) == content.size() && file.flush() &&
        file.size() == content.size() && file.commit())
        return true;
    qWarning("%s was not written: %s", qUtf8Printable(fileName), qUtf8Printable(file.errorString()));
    return false;
}
