#include "platform/qt/chooser.h"

#include "platform/core/atomic_file.h"
#include "platform/qt/shown_names.h"
#include "platform/qt/unlisted_names.h"

#include <QAbstractButton>
#include <QCollator>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileSystemModel>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QSortFilterProxyModel>
#include <QSplitter>
#include <QTreeView>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using platform::chooser_request;

// The columns of the list behind the name.
constexpr int size_column = 1;
constexpr int kind_column = 2;
constexpr int date_column = 3;

std::string bytes_of(const QString &name)
{
    return name.toUtf8().toStdString();
}

// The dialog's files, without those that the program does not want shown.
class shown_items : public QSortFilterProxyModel {
public:
    shown_items(const chooser_request &what, QObject *parent)
        : QSortFilterProxyModel(parent), request(what), names(language())
    {
        names.setNumericMode(true); // page 2 before page 10
    }
    void filter_anew()
    {
        invalidateFilter();
    }

protected:
    [[nodiscard]] bool filterAcceptsRow(int row, const QModelIndex &parent) const override
    {
        const auto *files = static_cast<QFileSystemModel *>(sourceModel());
        const QModelIndex item = files->index(row, 0, parent);
        return request.shows(bytes_of(files->filePath(item)), files->isDir(item));
    }

    // Folders first, then as the column has it.
    [[nodiscard]] bool lessThan(const QModelIndex &left, const QModelIndex &right) const override
    {
        const auto *files = static_cast<QFileSystemModel *>(sourceModel());
        if (files->isDir(left) != files->isDir(right))
            return files->isDir(left);
        if (left.column() == size_column && files->size(left) != files->size(right))
            return files->size(left) < files->size(right);
        if (left.column() == date_column)
            return files->lastModified(left) < files->lastModified(right);
        const QString left_name = files->fileName(left);
        const QString right_name = files->fileName(right);
        const int order = names.compare(left_name, right_name);
        return order != 0 ? order < 0 : left_name < right_name;
    }

private:
    // The user's own. "C" is none, and knows no numbers.
    static QLocale language()
    {
        return QLocale().language() == QLocale::C ? QLocale(QLocale::English) : QLocale();
    }

    const chooser_request &request;
    QCollator names;
};

bool is_folder_at(const std::string &path)
{
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// A folder that is an application.
bool is_package(const std::string &folder)
{
    return folder.ends_with(".app") && is_folder_at(folder + "/Contents");
}

// Takes "NAME" "NAME" apart, as the dialog writes the names of several rows into its field. Empty
// when the text is something else.
std::vector<std::string> quoted_names(const std::string &text)
{
    const std::string between = "\" \"";
    std::vector<std::string> names;
    if (text.size() < 2 || text.front() != '"' || text.back() != '"')
        return names;
    const std::string inner = text.substr(1, text.size() - 2);
    for (std::size_t at = 0; at <= inner.size();) {
        const std::size_t end = std::min(inner.find(between, at), inner.size());
        if (end == at)
            return {};
        names.push_back(inner.substr(at, end - at));
        at = end + between.size();
    }
    return names;
}

// Sizes that fit the screen and the font, whatever they are.
void make_comfortable(QFileDialog *dialog)
{
    const QSize screen = dialog->screen()->availableSize();
    const int letter = dialog->fontMetrics().averageCharWidth();
    const int line = dialog->fontMetrics().lineSpacing();
    const int width = std::min(letter * 130, screen.width() * 9 / 10);
    dialog->resize(width, std::min(line * 32, screen.height() * 9 / 10));
    dialog->findChild<QSplitter *>("splitter")->setSizes({letter * 20, width - letter * 20});
    QHeaderView *columns = dialog->findChild<QTreeView *>("treeView")->header();
    columns->setStretchLastSection(false);
    columns->setSectionResizeMode(0, QHeaderView::Stretch); // the names have what is left
    columns->hideSection(kind_column);                      // which the names' endings tell
    for (const auto &[column, letters] : {std::pair(size_column, 12), std::pair(date_column, 24)})
        columns->resizeSection(column, letter * letters);
}

} // namespace

void platform::show_refusal(QWidget *parent, const char *format, std::va_list arguments)
{
    char *message = nullptr;
    if (vasprintf(&message, format, arguments) < 0)
        return;
    QMessageBox box(QMessageBox::Warning, parent->windowTitle(), shown_message(message),
                    QMessageBox::Ok, parent);
    std::free(message);
    box.setTextFormat(Qt::PlainText);
    box.exec();
}

void platform::show_refusal(QWidget *parent, const char *format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    show_refusal(parent, format, arguments);
    va_end(arguments);
}

platform::chooser::chooser(const chooser_request &what, QWidget *parent)
    : QFileDialog(parent), request(what), name_counts(what.what == choice::new_file)
{
    setOption(DontUseNativeDialog); // a native one could not ask the program's filter
    setOption(HideNameFilterDetails);
    setWindowModality(Qt::ApplicationModal);
    if (!request.title.isEmpty())
        setWindowTitle(request.title);
    if (request.what == choice::new_file)
        setAcceptMode(AcceptSave);
    if (request.what == choice::choose_folder)
        setFileMode(Directory);
    else if (request.what == choice::new_file)
        setFileMode(AnyFile);
    else
        setFileMode(request.takes_several ? ExistingFiles : ExistingFile);
    setViewMode(Detail);

    auto *kinds = findChild<QComboBox *>("fileTypeCombo");
    kinds->setAccessibleName("Files shown");
    if (request.popup.isEmpty()) {
        kinds->hide();
        findChild<QLabel *>("fileTypeLabel")->hide();
    } else {
        QStringList patterns; // the program's filter decides, not a pattern
        for (const QString &title : request.popup)
            patterns << title + " (*)";
        setNameFilters(patterns);
    }
    auto *shown = new shown_items(request, this);
    setProxyModel(shown);
    connect(kinds, &QComboBox::currentIndexChanged, this, [this, shown](int index) {
        request.popup_selected(index);
        shown->filter_anew();
        update_notice();
    });

    name_field = findChild<QLineEdit *>("fileNameEdit");
    name_field->setAccessibleName(request.what == choice::choose_folder ? "Folder name"
                                                                        : "File name");
    findChild<QComboBox *>("lookInCombo")->setAccessibleName("Folder");
    auto *accept_button = findChild<QDialogButtonBox *>()->button(
        request.what == choice::new_file ? QDialogButtonBox::Save : QDialogButtonBox::Open);
    // What is typed selects rows, too, and not always those that are meant: Qt takes a name with
    // quotation marks for several. The name that was typed last counts, or the row clicked last.
    auto *rows = findChild<QListView *>("listView")->selectionModel();
    connect(rows, &QItemSelectionModel::selectionChanged, this, [this] { name_counts = false; });
    connect(name_field, &QLineEdit::textEdited, this, [this] { is_typing = true; });
    connect(name_field, &QLineEdit::textChanged, this, [this, accept_button](const QString &text) {
        name_counts = name_counts || is_typing;
        is_typing = false;
        if (!text.isEmpty())
            accept_button->setEnabled(true);
    });

    add_notice();
    const auto *files = findChild<QFileSystemModel *>();
    connect(files, &QFileSystemModel::rootPathChanged, this, [this] { update_notice(); });
    setDirectory(QString::fromStdString(request.folder));
    name_field->setText(request.name);
    if (request.what == choice::new_file)
        name_field->selectAll();
    name_field->setFocus();
    update_notice();
    make_comfortable(this);
}

void platform::chooser::accept()
{
    const std::vector<std::string> selected =
        name_counts ? std::vector<std::string>() : selected_paths();
    const std::vector<std::string> paths = selected.empty() ? typed_paths() : selected;
    if (paths.empty())
        return;
    if (paths.size() > 1 && request.takes_several)
        return accept_several(paths);
    const std::string &path = paths.front();
    const bool exists = access(path.c_str(), F_OK) == 0;
    const bool is_folder = is_folder_at(path);
    if (request.what == choice::choose_folder) {
        if (is_folder)
            offer(paths);
        else if (exists)
            show_refusal(this, "%s: this is a file, not a folder.", path.c_str());
        else
            show_refusal(this, "%s: there is no such folder.", path.c_str());
    } else if (is_folder && !(request.takes_packages && is_package(path))) {
        if (enter(path) && selected.empty())
            name_field->clear();
    } else if (exists) {
        offer(paths);
    } else if (request.what != choice::new_file) {
        show_refusal(this, "%s: File not found!", path.c_str());
    } else if (!is_folder_at(folder_of(path))) {
        show_refusal(this, "%s: there is no folder %s.", path.c_str(), folder_of(path).c_str());
    } else {
        offer(paths);
    }
}

// All of them, or the chooser stays: half a choice would be another one.
void platform::chooser::accept_several(const std::vector<std::string> &paths)
{
    for (const std::string &path : paths) {
        if (access(path.c_str(), F_OK) != 0)
            return show_refusal(this, "%s: File not found!", path.c_str());
        if (is_folder_at(path))
            return show_refusal(this, "%s: this is a folder, not a file.", path.c_str());
    }
    offer(paths);
}

// In the order in which they are listed. Only rows of the folder that is shown count.
std::vector<std::string> platform::chooser::selected_paths() const
{
    const auto *list = findChild<QListView *>("listView");
    QModelIndexList rows = list->selectionModel()->selectedRows();
    std::sort(rows.begin(), rows.end(), [](const QModelIndex &left, const QModelIndex &right) {
        return left.row() < right.row();
    });
    std::vector<std::string> paths;
    for (const QModelIndex &row : rows) {
        if (row.parent() == list->rootIndex())
            paths.push_back(bytes_of(row.data(QFileSystemModel::FilePathRole).toString()));
    }
    return paths;
}

// The name is taken as it stands; where several can be chosen and there is no such file, as names
// in quotation marks. Without one, the folder that is shown can be chosen.
std::vector<std::string> platform::chooser::typed_paths() const
{
    const std::string name = bytes_of(name_field->text());
    if (name.empty() && request.what != choice::choose_folder)
        return {};
    const std::string whole = path_of(name);
    std::vector<std::string> paths;
    if (request.takes_several && access(whole.c_str(), F_OK) != 0) {
        for (const std::string &each : quoted_names(name))
            paths.push_back(path_of(each));
    }
    return paths.empty() ? std::vector<std::string>{whole} : paths;
}

std::string platform::chooser::path_of(const std::string &name) const
{
    const std::string folder = bytes_of(directory().absolutePath());
    if (name.empty())
        return folder;
    if (name == "~" || name.starts_with("~/"))
        return bytes_of(QDir::homePath()) + name.substr(1);
    return without_dots(name[0] == '/' ? name : in_folder(folder, name));
}

bool platform::chooser::enter(const std::string &folder)
{
    if (access(folder.c_str(), R_OK | X_OK) != 0) {
        show_refusal(this, "%s: the folder can't be opened: %s.", folder.c_str(),
                     std::strerror(errno));
        return false;
    }
    setDirectory(QDir::cleanPath(QString::fromStdString(folder)));
    return true;
}

void platform::chooser::offer(const std::vector<std::string> &paths)
{
    if (request.takes(paths) && may_replace(paths.front()))
        done(Accepted);
}

bool platform::chooser::may_replace(const std::string &path)
{
    if (request.what != choice::new_file || access(path.c_str(), F_OK) != 0)
        return true;
    QMessageBox box(QMessageBox::Warning, windowTitle(),
                    shown_message(path + " exists already. Replace it?"), QMessageBox::Cancel,
                    this);
    box.setTextFormat(Qt::PlainText);
    box.setInformativeText("What is in it now will be lost.");
    const QAbstractButton *replace = box.addButton("&Replace", QMessageBox::DestructiveRole);
    box.setDefaultButton(QMessageBox::Cancel);
    box.exec();
    return box.clickedButton() == replace;
}

// A line below the files, for names that the dialog cannot list.
void platform::chooser::add_notice()
{
    notice = new QLabel(this);
    notice->setObjectName("unlistedNotice");
    notice->setWordWrap(true);
    notice_button = new QPushButton("S&how Them…", this);
    notice_button->setObjectName("unlistedButton");
    notice_button->setAutoDefault(false);
    notice_button->setAccessibleName("Show the names that are not UTF-8");
    auto *line = new QHBoxLayout;
    line->addWidget(notice, 1);
    line->addWidget(notice_button);
    auto *grid = qobject_cast<QGridLayout *>(layout());
    grid->addLayout(line, grid->rowCount(), 0, 1, grid->columnCount());
    connect(notice_button, &QPushButton::clicked, this, [this] { choose_unlisted(); });
}

void platform::chooser::update_notice()
{
    const std::size_t count = unlisted_names(bytes_of(directory().absolutePath()), request).size();
    notice->setText(
        count == 1
            ? QString("One name in this folder is not UTF-8 and is not listed.")
            : QString("%1 names in this folder are not UTF-8 and are not listed.").arg(count));
    notice->setVisible(count > 0);
    notice_button->setVisible(count > 0);
}

void platform::chooser::choose_unlisted()
{
    const std::vector<std::string> paths = ask_for_unlisted_names(
        bytes_of(directory().absolutePath()), bytes_of(name_field->text()), request, this);
    if (!paths.empty())
        offer(paths);
}
