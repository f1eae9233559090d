#pragma once

namespace dovrel::ui {

// The edit a user finished on a row and the table hands to its data source. `delete` is a C++
// keyword, hence the trailing underscore.
enum class TableViewCellEditingStyle { none, delete_, insert };

}  // namespace dovrel::ui
