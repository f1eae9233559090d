#pragma once

namespace dovrel::ui {

// How inserted and deleted rows appear and go. Rows that only change place always slide.
enum class TableViewRowAnimation {
    fade,       // the row's cell fades in (insert) or out (delete)
    none,       // the cell appears or disappears at once
    automatic,  // the table's choice: a fade
};

}  // namespace dovrel::ui
