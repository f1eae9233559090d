#include "apps/dovrel/ProgressWhy.h"

#include <algorithm>

#include "apps/dovrel/HabitJson.h"
#include "apps/dovrel/HabitTitle.h"
#include "apps/dovrel/LocaleFormats.h"
#include "apps/dovrel/NumberText.h"
#include "apps/dovrel/TextLayout.h"
#include "apps/dovrel/Texts.h"

namespace dovrel::cli {

namespace {

std::size_t checkmarkCount(const std::vector<ProgressStep>& steps) {
    return static_cast<std::size_t>(std::count_if(steps.begin(), steps.end(), [](const auto& step) {
        return step.kind == ProgressStep::Kind::checkmark;
    }));
}

// The `count` steps that changed the score most upwards (gains) or downwards, biggest first;
// equal changes keep the earlier step first.
std::vector<ProgressStep> biggest(const std::vector<ProgressStep>& steps, bool gains,
                                  std::size_t count) {
    std::vector<ProgressStep> chosen;
    std::copy_if(steps.begin(), steps.end(), std::back_inserter(chosen),
                 [gains](const ProgressStep& step) {
                     return gains ? step.change() > 0 : step.change() < 0;
                 });
    std::stable_sort(chosen.begin(), chosen.end(),
                     [gains](const ProgressStep& a, const ProgressStep& b) {
                         return gains ? a.change() > b.change() : a.change() < b.change();
                     });
    if (chosen.size() > count) {
        chosen.resize(count);
    }
    return chosen;
}

std::string kindText(ProgressStep::Kind kind) {
    return kind == ProgressStep::Kind::checkmark ? text("Cli.Why.Step.Checkmark")
                                                 : text("Cli.Why.Step.MissedDay");
}

// A step's day: without the year when it is the explained day's year.
std::string stepDay(Date day, const char* skeleton, const std::string& explainedYear,
                    const Region& display) {
    if (formatWithSkeleton(day, "y", display) == explainedYear) {
        return formatWithSkeleton(day, skeleton, display);
    }
    return formatWithSkeleton(day, std::string("y") + skeleton, display);
}

std::string localDay(Date day, const Region& region) {
    return isoDateTime(day, region).substr(0, 10);
}

std::string milestoneLine(std::int64_t score, const std::optional<ProgressMilestone>& milestone,
                          const Region& display) {
    if (!milestone) {
        return text("Cli.Why.Milestone.OutOfReach", {{"score", std::to_string(score)}});
    }
    if (milestone->checkmarks == 0) {
        return text("Cli.Why.Milestone.Reached", {{"score", std::to_string(score)}});
    }
    const std::string day = formatWithSkeleton(milestone->day, "yMMMEd", display);
    if (milestone->checkmarks == 1) {
        return text("Cli.Why.Milestone.One", {{"score", std::to_string(score)}, {"day", day}});
    }
    return text("Cli.Why.Milestone", {{"count", std::to_string(milestone->checkmarks)},
                                      {"score", std::to_string(score)},
                                      {"day", day}});
}

}  // namespace

std::vector<std::string> progressWhyLines(const HabitReport& report,
                                          const ProgressExplanation& explanation,
                                          const Terminal& terminal, const Region& region) {
    const Region display = displayRegion(region);
    const NumberText score(region.localeIdentifier(), 2);
    const std::string year = formatWithSkeleton(explanation.on(), "y", display);
    std::vector<std::string> lines;
    lines.push_back(terminal.emphasized(
        text("Cli.Why.Title", {{"habit", habitTitle(report.name, report.listNumber)},
                               {"progress", std::to_string(explanation.progress())},
                               {"day", formatWithSkeleton(explanation.on(), "yMMMEd", display)}})));
    if (!report.interval) {
        lines.push_back(text("Cli.Why.NoInterval"));
        return lines;
    }
    const auto& steps = explanation.steps();
    const std::vector<std::pair<std::string, std::string>> fields{
        {text("Cli.Show.Interval"), *report.interval},
        {text("Cli.Show.Checkmarks"), std::to_string(checkmarkCount(steps))},
        {text("Cli.Why.MissedDays"), std::to_string(explanation.missedDays())},
        {text("Cli.Why.Unrounded"), score(explanation.unroundedProgress())},
    };
    std::size_t labelWidth = 0;
    for (const auto& field : fields) {
        labelWidth = std::max(labelWidth, displayWidth(field.first));
    }
    for (const auto& [label, value] : fields) {
        lines.push_back(padRight(label, labelWidth + 2) + value);
    }
    if (steps.empty()) {
        lines.push_back("");
        lines.push_back(text("Cli.Why.NoSteps"));
    } else {
        const std::size_t first = steps.size() > kShownSteps ? steps.size() - kShownSteps : 0;
        lines.push_back("");
        lines.push_back(text("Cli.Why.Steps", {{"shown", std::to_string(steps.size() - first)},
                                               {"total", std::to_string(steps.size())}}));
        struct Row {
            std::string day, kind, before, after, change;
        };
        std::vector<Row> rows;
        std::size_t widths[5] = {0, 0, 0, 0, 0};
        for (std::size_t index = first; index < steps.size(); ++index) {
            const auto& step = steps[index];
            Row row{stepDay(step.day, "MMMEd", year, display), kindText(step.kind),
                    score(step.before), score(step.after), score.change(step.change())};
            widths[0] = std::max(widths[0], displayWidth(row.day));
            widths[1] = std::max(widths[1], displayWidth(row.kind));
            widths[2] = std::max(widths[2], displayWidth(row.before));
            widths[3] = std::max(widths[3], displayWidth(row.after));
            widths[4] = std::max(widths[4], displayWidth(row.change));
            rows.push_back(std::move(row));
        }
        const std::string arrow = terminal.unicode() ? " → " : " -> ";
        for (const auto& row : rows) {
            lines.push_back("  " + padRight(row.day, widths[0]) + "  " +
                            padRight(row.kind, widths[1]) + "  " + padLeft(row.before, widths[2]) +
                            arrow + padLeft(row.after, widths[3]) + "  " +
                            padLeft(row.change, widths[4]));
        }
        lines.push_back("");
        auto joined = [&](const std::vector<ProgressStep>& chosen) {
            std::string value;
            for (const auto& step : chosen) {
                if (!value.empty()) {
                    value += ", ";
                }
                value +=
                    stepDay(step.day, "MMMd", year, display) + " " + score.change(step.change());
            }
            return value.empty() ? text("Cli.Why.None") : value;
        };
        const std::string gainsLabel = text("Cli.Why.BiggestGains");
        const std::string lossesLabel = text("Cli.Why.BiggestLosses");
        const std::size_t width = std::max(displayWidth(gainsLabel), displayWidth(lossesLabel));
        lines.push_back(padRight(gainsLabel, width + 2) +
                        joined(biggest(steps, true, kBiggestSteps)));
        lines.push_back(padRight(lossesLabel, width + 2) +
                        joined(biggest(steps, false, kBiggestSteps)));
    }
    lines.push_back("");
    for (const std::int64_t target : kMilestoneScores) {
        lines.push_back(milestoneLine(target, explanation.milestone(target), display));
    }
    return lines;
}

nlohmann::ordered_json progressWhyJson(const HabitReport& report,
                                       const ProgressExplanation& explanation,
                                       const Region& region) {
    auto stepJson = [&](const ProgressStep& step) {
        nlohmann::ordered_json object;
        object["day"] = localDay(step.day, region);
        object["kind"] = step.kind == ProgressStep::Kind::checkmark ? "checkmark" : "missedDay";
        object["before"] = step.before;
        object["after"] = step.after;
        object["change"] = step.change();
        return object;
    };
    auto stepsJson = [&](auto begin, auto end) {
        auto array = nlohmann::ordered_json::array();
        for (auto step = begin; step != end; ++step) {
            array.push_back(stepJson(*step));
        }
        return array;
    };
    const auto& steps = explanation.steps();
    nlohmann::ordered_json object;
    object["uri"] = report.uri;
    object["name"] = report.name ? nlohmann::ordered_json(*report.name) : nullptr;
    object["on"] = isoDateTime(explanation.on(), region);
    object["progress"] = explanation.progress();
    object["unroundedProgress"] = explanation.unroundedProgress();
    object["interval"] = report.interval ? nlohmann::ordered_json(*report.interval) : nullptr;
    object["times"] = report.times ? nlohmann::ordered_json(*report.times) : nullptr;
    object["days"] = report.days ? nlohmann::ordered_json(*report.days) : nullptr;
    object["checkmarks"] = checkmarkCount(steps);
    object["missedDays"] = explanation.missedDays();
    object["stepCount"] = steps.size();
    const std::size_t first = steps.size() > kShownSteps ? steps.size() - kShownSteps : 0;
    object["steps"] = stepsJson(steps.begin() + static_cast<std::ptrdiff_t>(first), steps.end());
    const auto gains = biggest(steps, true, kBiggestSteps);
    const auto losses = biggest(steps, false, kBiggestSteps);
    object["biggestGains"] = stepsJson(gains.begin(), gains.end());
    object["biggestLosses"] = stepsJson(losses.begin(), losses.end());
    auto milestones = nlohmann::ordered_json::array();
    for (const std::int64_t target : kMilestoneScores) {
        const auto milestone = explanation.milestone(target);
        nlohmann::ordered_json entry;
        entry["score"] = target;
        entry["checkmarks"] = milestone ? nlohmann::ordered_json(milestone->checkmarks) : nullptr;
        entry["day"] =
            milestone ? nlohmann::ordered_json(localDay(milestone->day, region)) : nullptr;
        milestones.push_back(std::move(entry));
    }
    object["milestones"] = std::move(milestones);
    return object;
}

}  // namespace dovrel::cli
