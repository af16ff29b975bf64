// SPDX-License-Identifier: Apache-2.0
#include "measure/sizebox.h"

#include <QFontMetrics>
#include <QLocale>
#include <algorithm>

namespace {

constexpr int kFewestDecimals = 4;
constexpr int kMostDecimals = 18;
constexpr double kLargest = 1e9;  // mm
constexpr double kTiniest = 1e-9;

double rounded(double value, int digits = SizeBox::kDigits) {
    return QString::number(value, 'g', digits).toDouble();
}

}  // namespace

SizeBox::SizeBox(QWidget* parent) : QDoubleSpinBox(parent) {
    setDecimals(kMostDecimals);
}

void SizeBox::showKnown(double size, int digits) {
    known.reset();
    if (!(size >= kTiniest && size <= kLargest)) {
        setValue(0.0);
        return;
    }
    setMaximum(std::max(maximum(), rounded(size, digits)));
    setValue(rounded(size, digits));
    known = size;
    shown = value();
}

double SizeBox::mm() const {
    return isKnown() ? *known : value();
}

QSize SizeBox::sizeHint() const {
    // Digits more than those of the limits.
    const int more = QFontMetrics(font()).horizontalAdvance(QStringLiteral("00000"));
    return QDoubleSpinBox::sizeHint() + QSize(more, 0);
}

QString SizeBox::textFromValue(double value) const {
    QLocale plain = locale();
    plain.setNumberOptions(plain.numberOptions() | QLocale::OmitGroupSeparator);
    const double exact = rounded(value);
    for (int decimals = kFewestDecimals; decimals < kMostDecimals; ++decimals) {
        if (QString::number(exact, 'f', decimals).toDouble() == exact)
            return plain.toString(exact, 'f', decimals);
    }
    return plain.toString(exact, 'f', kMostDecimals);
}
