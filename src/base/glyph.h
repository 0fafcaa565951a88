// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QIcon>

/// One of the signs that are drawn in src/icons, in the colour of the application's buttons, whatever its palette
/// becomes; a null icon for a name that there is no sign of.
QIcon Glyph(const QString &name);

/// The icon of a window of that name for its title bar, of one look on light and dark bars; null for one that has none.
QIcon TitleIcon(const QString &window);
