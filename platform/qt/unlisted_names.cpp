#include "platform/qt/unlisted_names.h"

#include "platform/core/atomic_file.h"
#include "platform/qt/shown_names.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QFileIconProvider>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

#include <algorithm>
#include <dirent.h>
#include <memory>
#include <sys/stat.h>

namespace {

using platform::choice;
using platform::chooser_request;
using platform::in_folder;

constexpr char parent_folder[] = "..";

bool is_utf8(const std::string &bytes)
{
    return QByteArray::fromStdString(bytes).isValidUtf8();
}

bool is_folder(const std::string &path)
{
    struct stat status = {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// The list. Its result is what was chosen.
class unlisted_dialog : public QDialog {
public:
    unlisted_dialog(const std::string &folder, const std::string &new_name,
                    const chooser_request &what, QWidget *parent);
    void accept() override;
    std::vector<std::string> chosen;

private:
    void show_folder(const std::string &folder);
    void open_item(const QListWidgetItem *item);
    void update_button();
    [[nodiscard]] std::string path_of(const QListWidgetItem *item) const;

    const chooser_request &request;
    const std::string first_folder, name;
    std::string current;
    QLabel *place;
    QListWidget *list;
    QPushButton *accept_button;
};

unlisted_dialog::unlisted_dialog(const std::string &folder, const std::string &new_name,
                                 const chooser_request &what, QWidget *parent)
    : QDialog(parent), request(what), first_folder(folder), name(new_name), place(new QLabel),
      list(new QListWidget)
{
    setObjectName("unlistedNames");
    setWindowTitle(parent->windowTitle());
    place->setTextFormat(Qt::PlainText);
    place->setWordWrap(true);
    list->setAccessibleName("Names that are not UTF-8");
    if (request.takes_several)
        list->setSelectionMode(QAbstractItemView::ExtendedSelection);
    place->setBuddy(list);
    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Cancel);
    accept_button = buttons->addButton(QString(), QDialogButtonBox::AcceptRole);
    auto *column = new QVBoxLayout(this);
    column->addWidget(place);
    column->addWidget(list);
    column->addWidget(buttons);
    accept_button->setDefault(true); // once it is in the window: the Return key finds it there
    connect(buttons, &QDialogButtonBox::accepted, this, &unlisted_dialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &unlisted_dialog::reject);
    connect(list, &QListWidget::itemDoubleClicked, this, &unlisted_dialog::open_item);
    connect(list, &QListWidget::itemSelectionChanged, this, [this] { update_button(); });
    show_folder(folder);
    resize(parent->size() * 3 / 4);
}

void unlisted_dialog::show_folder(const std::string &folder)
{
    current = folder;
    place->setText(platform::shown_message(folder));
    const QSignalBlocker quiet(list);
    list->clear();
    const QFileIconProvider icons;
    std::vector<std::string> names = platform::unlisted_names(folder, request);
    if (folder != first_folder)
        names.insert(names.begin(), parent_folder);
    for (const std::string &each : names) {
        const bool folder_icon = is_folder(in_folder(folder, each));
        auto *item = new QListWidgetItem(
            icons.icon(folder_icon ? QFileIconProvider::Folder : QFileIconProvider::File),
            platform::shown_name(each), list);
        item->setData(Qt::UserRole, QByteArray::fromStdString(each));
    }
    const bool opens = request.what == choice::open_file || request.what == choice::choose_file;
    if (opens) // elsewhere nothing selected means the folder itself
        list->setCurrentRow(folder != first_folder && list->count() > 1 ? 1 : 0);
    list->setFocus();
    update_button();
}

std::string unlisted_dialog::path_of(const QListWidgetItem *item) const
{
    const std::string each = item->data(Qt::UserRole).toByteArray().toStdString();
    return each == parent_folder ? platform::folder_of(current) : in_folder(current, each);
}

// A folder is entered, a file is taken.
void unlisted_dialog::open_item(const QListWidgetItem *item)
{
    const std::string path = path_of(item);
    if (is_folder(path)) {
        show_folder(path);
    } else {
        chosen = {path};
        QDialog::accept();
    }
}

void unlisted_dialog::update_button()
{
    const QList<QListWidgetItem *> selected = list->selectedItems();
    const bool folder =
        std::any_of(selected.begin(), selected.end(),
                    [this](const QListWidgetItem *item) { return is_folder(path_of(item)); });
    const bool here = selected.isEmpty() && current != first_folder;
    if (request.what == choice::choose_folder) {
        accept_button->setText("&Choose");
        accept_button->setEnabled(folder || here);
    } else if (request.what == choice::new_file && here) {
        accept_button->setText("&Save Here");
        accept_button->setEnabled(!name.empty());
    } else {
        accept_button->setText(request.what == choice::new_file && !folder ? "&Save" : "&Open");
        accept_button->setEnabled(!selected.isEmpty() && (selected.size() == 1 || !folder));
    }
}

void unlisted_dialog::accept()
{
    QList<QListWidgetItem *> selected = list->selectedItems();
    std::sort(selected.begin(), selected.end(),
              [this](const QListWidgetItem *left, const QListWidgetItem *right) {
                  return list->row(left) < list->row(right);
              });
    if (request.what != choice::choose_folder && selected.size() == 1)
        return open_item(selected[0]);
    for (const QListWidgetItem *item : selected)
        chosen.push_back(path_of(item));
    if (chosen.empty())
        chosen = {request.what == choice::choose_folder ? current : in_folder(current, name)};
    QDialog::accept();
}

} // namespace

std::vector<std::string> platform::unlisted_names(const std::string &folder,
                                                  const chooser_request &request)
{
    std::vector<std::string> names;
    const bool all = !is_utf8(folder);
    const std::unique_ptr<DIR, int (*)(DIR *)> open(opendir(folder.c_str()), closedir);
    while (open != nullptr) {
        const dirent *entry = readdir(open.get());
        if (entry == nullptr)
            break;
        const std::string name = entry->d_name;
        if (name[0] == '.' || (!all && is_utf8(name)))
            continue;
        const std::string path = in_folder(folder, name);
        const bool enters = is_folder(path);
        if ((enters || request.what != choice::choose_folder) && request.shows(path, enters))
            names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> platform::ask_for_unlisted_names(const std::string &folder,
                                                          const std::string &name,
                                                          const chooser_request &request,
                                                          QWidget *parent)
{
    unlisted_dialog dialog(folder, name, request, parent);
    return dialog.exec() == QDialog::Accepted ? dialog.chosen : std::vector<std::string>();
}
