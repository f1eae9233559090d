#include "apps/dovrel/ImportExportCommands.h"

#include <iostream>
#include <system_error>

#include "DovrelFoundation/Export/CsvExport.h"
#include "DovrelFoundation/Import/HabitImport.h"
#include "apps/dovrel/CommandErrors.h"
#include "apps/dovrel/Texts.h"

namespace dovrel::cli {

void importHabitsFrom(const Application& application, const std::filesystem::path& file,
                      bool dryRun) {
    ImportedHabits habits;
    ImportOutcome outcome;
    try {
        habits = readHabitsToImport(file);
        outcome = importHabits(habits, application.context(), dryRun);
    } catch (const ImportError& error) {
        throw CommandError(
            text("Cli.Error.ImportFailed", {{"file", file.string()}, {"detail", error.what()}}));
    } catch (const Error& error) {
        throw CommandError(
            text("Cli.Error.ImportFailed",
                 {{"file", file.string()}, {"detail", error.localizedDescription()}}));
    }
    std::cout << text(dryRun ? "Cli.Import.WouldAdd" : "Cli.Import.Added",
                      {{"file", file.string()},
                       {"format", habits.format},
                       {"count", std::to_string(outcome.added.size())},
                       {"checkmarks", std::to_string(outcome.checkmarks)}})
              << '\n';
    for (const auto& name : outcome.added) {
        std::cout << "  + " << name << '\n';
    }
    for (const auto& name : outcome.alreadyThere) {
        std::cout << text("Cli.Import.AlreadyThere", {{"habit", name}}) << '\n';
    }
    for (const auto& note : habits.notes) {
        std::cout << note << '\n';
    }
    if (!dryRun && !outcome.added.empty()) {
        application.habitsChanged();
    }
}

void exportHabitsAsCsvTo(const Application& application, const std::filesystem::path& folder) {
    CsvExportOutcome outcome;
    try {
        outcome = exportHabitsAsCsv(application.context(), folder);
    } catch (const std::system_error& error) {
        throw CommandError(text("Cli.Error.ExportFailed",
                                {{"folder", folder.string()}, {"detail", error.what()}}));
    }
    std::cout << text("Cli.Export.Done", {{"folder", folder.string()},
                                          {"habits", std::to_string(outcome.habits)},
                                          {"checkmarks", std::to_string(outcome.checkmarks)}})
              << '\n';
}

}  // namespace dovrel::cli
