#include "apps/dovrel/HabitTitle.h"

#include "apps/dovrel/Texts.h"

namespace dovrel::cli {

std::string habitTitle(const std::optional<std::string>& name, std::size_t listNumber) {
    if (name) {
        return text("Cli.Habit.Quoted", {{"name", *name}});
    }
    std::string number = "#";
    number += std::to_string(listNumber);
    return number;
}

}  // namespace dovrel::cli
