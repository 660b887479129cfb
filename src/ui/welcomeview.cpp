#include "ui/welcomeview.h"

#include "model/format.h"

#include <QDir>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

WelcomeView::WelcomeView(AppState& state, KeyRouter& router, QWidget* parent)
    : QWidget(parent)
    , m_state(state)
    , m_recents(new QListWidget(this))
    , m_path(new QLineEdit(this))
    , m_downloadedTitle(new QLabel(QStringLiteral("Downloaded repositories"), this))
    , m_downloaded(new QListWidget(this))
{
    auto* title = new QLabel(QStringLiteral("Korvane"), this);
    title->setStyleSheet(QStringLiteral("font-size: 30px; font-weight: 700;"));
    auto* tagline
        = new QLabel(QStringLiteral("See the shape of a codebase. Open a folder or a Git repository."), this);
    tagline->setProperty("class", QStringLiteral("secondary"));
    auto* recentTitle = new QLabel(QStringLiteral("Recent folders"), this);
    recentTitle->setProperty("class", QStringLiteral("faint"));
    m_recents->setFocusPolicy(Qt::NoFocus);
    m_recents->setMinimumHeight(8 * 26);
    auto* choose = new QPushButton(QStringLiteral("Open folder…"), this);
    choose->setObjectName(QStringLiteral("primary"));
    choose->setFocusPolicy(Qt::NoFocus);
    auto* picker = new QPushButton(QStringLiteral("Choose here…  Ctrl O"), this);
    picker->setFocusPolicy(Qt::NoFocus);
    auto* remote = new QPushButton(QStringLiteral("GitHub repository…  Ctrl D"), this);
    remote->setFocusPolicy(Qt::NoFocus);
    m_downloadedTitle->setProperty("class", QStringLiteral("faint"));
    m_downloaded->setFocusPolicy(Qt::NoFocus);
    m_path->setPlaceholderText(QStringLiteral("Type a folder's path and press Return"));
    auto* hint = new QLabel(
        QStringLiteral("↑ ↓ choose a recent folder · Return opens it · or drop a folder here · ? keys"),
        this);
    hint->setProperty("class", QStringLiteral("faint"));

    auto* column = new QVBoxLayout;
    column->setSpacing(12);
    column->addWidget(title);
    column->addWidget(tagline);
    column->addSpacing(12);
    column->addWidget(recentTitle);
    column->addWidget(m_recents);
    auto* row = new QHBoxLayout;
    row->addWidget(m_path, 1);
    row->addWidget(choose);
    column->addLayout(row);
    auto* more = new QHBoxLayout;
    more->addWidget(picker);
    more->addWidget(remote);
    more->addStretch(1);
    column->addLayout(more);
    column->addWidget(hint);
    column->addSpacing(8);
    column->addWidget(m_downloadedTitle);
    column->addWidget(m_downloaded);
    auto* outer = new QHBoxLayout(this);
    outer->addStretch(1);
    auto* middle = new QVBoxLayout;
    middle->addStretch(1);
    middle->addLayout(column);
    middle->addStretch(2);
    outer->addLayout(middle, 3);
    outer->addStretch(1);

    connect(choose, &QPushButton::clicked, this, [this] {
        const QString folder
            = QFileDialog::getExistingDirectory(this, QStringLiteral("Open folder"), QDir::homePath());
        if (!folder.isEmpty())
            m_state.open(folder);
    });
    connect(m_path, &QLineEdit::returnPressed, this, [this] {
        QString path = m_path->text().trimmed();
        if (path.startsWith(u'~'))
            path = QDir::homePath() + path.mid(1);
        if (!path.isEmpty())
            m_state.open(path);
    });
    connect(picker, &QPushButton::clicked, this, [&router] { router.perform(Action::picker); });
    connect(remote, &QPushButton::clicked, this, [&router] { router.perform(Action::remote); });
    for (QListWidget* list : { m_recents, m_downloaded }) {
        connect(list, &QListWidget::itemClicked, this, [this](QListWidgetItem* item) {
            const QString path = item->data(Qt::UserRole).toString();
            if (!path.isEmpty())
                m_state.open(path);
        });
    }
    connect(&state.downloads(), &DownloadController::downloadedChanged, this, &WelcomeView::refresh);
    connect(&state.recents(), &Recents::recentsChanged, this, &WelcomeView::refresh);
    connect(&state.recents(), &Recents::recentIndexChanged, this, &WelcomeView::refresh);
    refresh();
}

void WelcomeView::refresh()
{
    m_recents->clear();
    const Recents& recents = m_state.recents();
    for (const QString& path : recents.folders()) {
        auto* item = new QListWidgetItem(
            QDir(path).dirName() + QStringLiteral("   ") + Format::path(path), m_recents);
        item->setData(Qt::UserRole, path);
        item->setToolTip(path);
    }
    if (recents.folders().isEmpty())
        new QListWidgetItem(QStringLiteral("No recent folders yet"), m_recents, QListWidgetItem::Type);
    else
        m_recents->setCurrentRow(recents.recentIndex());

    // Each under its owner/name, with its host when that is not the usual one.
    m_downloaded->clear();
    const QString root = RepositoryCloner::storageRoot() + u'/';
    for (const QString& path : m_state.downloads().downloaded()) {
        QString slug = path.mid(root.size());
        const QString host = slug.section(u'/', 0, 0);
        slug = slug.section(u'/', 1);
        if (host != RemoteRepository::defaultHost())
            slug += QStringLiteral("   ") + host;
        auto* item = new QListWidgetItem(slug, m_downloaded);
        item->setData(Qt::UserRole, path);
        item->setToolTip(path);
    }
    const int rows = int(m_downloaded->count());
    m_downloaded->setFixedHeight(std::min(rows, 5) * 26 + 4);
    m_downloaded->setVisible(rows > 0);
    m_downloadedTitle->setVisible(rows > 0);
}
