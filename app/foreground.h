// SPDX-License-Identifier: MIT
#pragma once

#include <QVariantMap>

class QWindow;

/// Shows the window where the person is looking, raised and active: out of the tray, minimised, or
/// from another virtual desktop. `platformData` is what the desktop gave whoever asks for it
/// (Instance::platformData()); values that are none are passed over.
void bringToFront(QWindow& window, const QVariantMap& platformData = {});
