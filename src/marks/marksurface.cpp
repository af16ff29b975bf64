#include "marks/marksurface.h"

QString MarkSurface::unitText() const {
    switch (unit) {
        case 0:
            return QStringLiteral("pix");
        case 1:
            return QStringLiteral("mm");
        default:
            return QStringLiteral("um");
    }
}
