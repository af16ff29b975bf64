// SPDX-License-Identifier: Apache-2.0
#include "platform/fonts.h"

#include <qt_windows.h>

#include <cstdlib>

// Qt 5 keeps the font of Windows 2000 for its default, "MS Shell Dlg 2". What it knows of the message font
// ("QMessageBox") it reckons from the px of one screen and the dpi of the session, which may differ.

namespace {

constexpr UINT kUnscaled = 96;  // dpi
constexpr double kPointsPerInch = 72.0;

/// Since Windows 10, version 1607; older ones have one scale for all screens.
using ParametersForDpi = BOOL(WINAPI*)(UINT action, UINT size, void* value, UINT ini, UINT dpi);

ParametersForDpi parametersForDpi() {
    const HMODULE user32 = GetModuleHandleW(L"user32.dll");
    const FARPROC found = user32 ? GetProcAddress(user32, "SystemParametersInfoForDpi") : nullptr;
    return reinterpret_cast<ParametersForDpi>(reinterpret_cast<void*>(found));
}

UINT dpiOfTheSession() {
    const HDC screen = GetDC(nullptr);
    const int dpi = screen ? GetDeviceCaps(screen, LOGPIXELSY) : 0;
    ReleaseDC(nullptr, screen);
    return dpi > 0 ? UINT(dpi) : kUnscaled;
}

}  // namespace

std::optional<QFont> platform::messageFont() {
    NONCLIENTMETRICSW metrics{};
    metrics.cbSize = sizeof metrics;
    UINT dpi = kUnscaled;
    const ParametersForDpi forDpi = parametersForDpi();
    if (!forDpi || !forDpi(SPI_GETNONCLIENTMETRICS, metrics.cbSize, &metrics, 0, dpi)) {
        dpi = dpiOfTheSession();
        if (!SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, metrics.cbSize, &metrics, 0))
            return {};
    }
    const LOGFONTW& wanted = metrics.lfMessageFont;
    const QString family = QString::fromWCharArray(wanted.lfFaceName);
    if (family.isEmpty() || wanted.lfHeight == 0)
        return {};
    // Below zero it is the height of the letters, as Windows' own fonts have it.
    QFont font(family);
    font.setPointSizeF(std::abs(wanted.lfHeight) * kPointsPerInch / dpi);
    font.setBold(wanted.lfWeight >= FW_BOLD);
    font.setItalic(wanted.lfItalic != 0);
    return font;
}
