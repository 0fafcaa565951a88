// SPDX-License-Identifier: GPL-3.0-or-later
#include "glyph.h"

#include <QApplication>
#include <QFile>
#include <QHash>
#include <QIconEngine>
#include <QPainter>
#include <QPalette>

#include <memory>

static void LoadGlyphs()
{
    Q_INIT_RESOURCE(glyphs); // they lie in a library
}

namespace {
constexpr QColor tileColour(35, 85, 112);
constexpr double tileCorner = 0.2; // of its width
constexpr double tileMargin = 0.12;

QString PathOf(const QString &name)
{
    LoadGlyphs();
    return QStringLiteral(":/glyphs/") + name;
}

/// The sign is a mask that is filled with a colour.
class GlyphEngine : public QIconEngine
{
public:
    GlyphEngine(const QString &path, bool tiled) : mask_(path), tiled_(tiled) {}

    void paint(QPainter *painter, const QRect &rect, QIcon::Mode mode, QIcon::State) override
    {
        painter->save();
        painter->setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);
        QRect place = rect;
        QColor colour = Qt::white;
        if (tiled_) {
            painter->setPen(Qt::NoPen);
            painter->setBrush(tileColour);
            painter->drawRoundedRect(rect, tileCorner * rect.width(), tileCorner * rect.height());
            const int margin = qRound(tileMargin * rect.width());
            place.adjust(margin, margin, -margin, -margin);
        } else {
            const auto group = mode == QIcon::Disabled ? QPalette::Disabled : QPalette::Active;
            colour = QApplication::palette().color(group, QPalette::ButtonText);
        }
        QImage sign = mask_.scaled(place.size() * painter->device()->devicePixelRatio(), Qt::KeepAspectRatio,
                                   Qt::SmoothTransformation);
        QPainter filling(&sign);
        filling.setCompositionMode(QPainter::CompositionMode_SourceIn);
        filling.fillRect(sign.rect(), colour);
        filling.end();
        painter->drawImage(place, sign);
        painter->restore();
    }

    QPixmap pixmap(const QSize &size, QIcon::Mode mode, QIcon::State state) override
    {
        QPixmap picture(size);
        picture.fill(Qt::transparent);
        QPainter painter(&picture);
        paint(&painter, picture.rect(), mode, state);
        return picture;
    }

    QIconEngine *clone() const override { return new GlyphEngine(*this); }

    QList<QSize> availableSizes(QIcon::Mode, QIcon::State) override
    {
        return {QSize(16, 16), QSize(24, 24), QSize(32, 32), QSize(48, 48), QSize(64, 64)};
    }

private:
    QImage mask_;
    bool tiled_;
};

QIcon Made(const QString &name, bool tiled)
{
    const QString path = PathOf(name);
    return QFile::exists(path) ? QIcon(new GlyphEngine(path, tiled)) : QIcon();
}
} // namespace

QIcon Glyph(const QString &name)
{
    return Made(name, false);
}

QIcon TitleIcon(const QString &window)
{
    return Made(window.toLower(), true);
}
