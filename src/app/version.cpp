#include "app/version.h"

QString programVersion() {
    return QStringLiteral(BIVISTA_VERSION);
}
