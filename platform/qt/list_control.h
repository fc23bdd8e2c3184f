// A list of the interface file (QListWidget) as a control: its user can drag the items, or move the
// selected one with Alt and the arrow keys and remove it with the Delete key.
#ifndef PAPERMILL_PLATFORM_QT_LIST_CONTROL_H
#define PAPERMILL_PLATFORM_QT_LIST_CONTROL_H

#include <QListWidget>

#include <functional>
#include <string_view>
#include <vector>

namespace platform {

// Calls `used` whenever the user has selected another item, or moved or removed one. Once for a
// list.
void watch_list(QListWidget *list, std::function<void()> used);

// Sets the items: texts with a NUL behind each. The same texts only get their numbers anew; among
// others, the row that was selected stays selected.
void set_list_items(QListWidget *list, std::string_view texts);

std::vector<std::int32_t> list_order(const QListWidget *list);

void select_list_row(QListWidget *list, int row); // -1: none

} // namespace platform

#endif
