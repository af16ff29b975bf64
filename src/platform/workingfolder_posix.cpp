#include "platform/platform.h"

QString platform::workingFolderFile(const QString& name) {
    return QStringLiteral("./") + name;
}
