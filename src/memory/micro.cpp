#include "micro.h"

#include <QCloseEvent>
#include <QScreen>

namespace {
constexpr QSize designSize(533, 467); // 8000 × 7000 twips at 15 to a pixel
}

Micro::Micro(Codebas &link) : Window(QStringLiteral("Micro")), link_(link)
{
    ui_.setupUi(this);
    const QFont plain(font().family(), font().pointSize()); // the frames' typeface is for their titles
    for (QPushButton *button : ui_.Frame2->findChildren<QPushButton *>())
        button->setFont(plain);
    RememberDesign();
    connect(ui_.CBEtat, &QPushButton::clicked, this, &Micro::DashboardWanted);
    connect(ui_.MQuitter, &QPushButton::clicked, this, &Micro::MQuitter_Click);
}

void Micro::Load()
{
    resize(designSize);
    move(screen()->availableGeometry().center() - rect().center());
    Q_EMIT Opened();
    ui_.ProgBar1->hide();
}

void Micro::MQuitter_Click()
{
    link_.ReconnectOnActivate = 0; // before the main window is activated
    close();
}

void Micro::closeEvent(QCloseEvent *event)
{
    event->accept();
    Q_EMIT Returning();
}
