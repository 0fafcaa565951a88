// SPDX-License-Identifier: GPL-3.0-or-later
#include "guide.h"

#include <QFileInfo>
#include <QHBoxLayout>
#include <QScrollBar>
#include <QTextBlock>

#include <algorithm>

namespace {
constexpr int widestPicture = 700; // pixels; what is wider is made smaller

/// Pictures as wide as the text.
class Browser : public QTextBrowser
{
public:
    QVariant loadResource(int type, const QUrl &name) override
    {
        QVariant resource = QTextBrowser::loadResource(type, name);
        if (type != QTextDocument::ImageResource)
            return resource;
        QImage picture = QImage::fromData(resource.toByteArray());
        if (picture.width() > widestPicture)
            picture = picture.scaledToWidth(widestPicture, Qt::SmoothTransformation);
        return picture;
    }
};
} // namespace

static void TakeIn() // of a static library, resources are taken in by name
{
    Q_INIT_RESOURCE(guide);
}

Guide::Guide() : text_(new Browser)
{
    TakeIn();
    setObjectName(QStringLiteral("Guide"));
    setWindowTitle(QStringLiteral("Guide"));
    contents_->setObjectName(QStringLiteral("LstPages"));
    text_->setObjectName(QStringLiteral("TxtGuide"));
    text_->setOpenExternalLinks(true);
    text_->setSource(QUrl(QStringLiteral("qrc:/guide/guide.md")), QTextDocument::MarkdownResource);
    for (QTextBlock block = text_->document()->begin(); block.isValid(); block = block.next()) {
        if (const int level = block.blockFormat().headingLevel(); level == 1 || level == 2) {
            headings_.push_back({block.text(), block.position()});
            contents_->addItem(block.text());
        }
        for (auto it = block.begin(); !it.atEnd(); ++it)
            if (const QTextCharFormat format = it.fragment().charFormat(); format.isImageFormat())
                pictures_.emplace_back(QFileInfo(format.toImageFormat().name()).baseName(),
                                       static_cast<int>(headings_.size()) - 1);
    }
    auto *row = new QWidget;
    auto *layout = new QHBoxLayout(row);
    layout->addWidget(contents_);
    layout->addWidget(text_, 1);
    contents_->setMaximumWidth(280);
    contents_->setWordWrap(true);
    contents_->setSpacing(2);
    contents_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setCentralWidget(row);
    if (!place_.Restore())
        resize(1020, 700);
    connect(contents_, &QListWidget::currentRowChanged, this, &Guide::GoTo);
}

void Guide::ShowFor(const QString &window)
{
    const auto picture = std::ranges::find(pictures_, window.toLower(), &std::pair<QString, int>::first);
    show();
    raise();
    activateWindow();
    const int page = picture == pictures_.end() ? 0 : picture->second;
    contents_->setCurrentRow(page);
    GoTo(page); // also when it was shown before and scrolled away
}

QString Guide::Page() const
{
    return contents_->currentItem()->text();
}

void Guide::GoTo(int page)
{
    QTextCursor heading(text_->document());
    heading.setPosition(headings_[static_cast<size_t>(page)].position);
    text_->setTextCursor(heading);
    QScrollBar *bar = text_->verticalScrollBar();
    bar->setValue(bar->value() + text_->cursorRect().top()); // its heading at the top
}
