#pragma once

#include <any>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/foundation/KeyedArchiver.h"
#include "platform/foundation/KeyedUnarchiver.h"
#include "platform/foundation/SecureCoding.h"

namespace dovrel {

// How often a habit is meant to be done: `times` checkmarks per `days` days ("3 times in 7
// days"). Every day, per week and per N days are only ways of naming a pair of numbers.
//
// Every constructing path (the constructors, copy(), decode() and the blob and backup readers
// built on them) normalises the pair, in this order:
//   1. equal numbers (0/0, 5/5, -3/-3 alike) become 1/1;
//   2. otherwise each number below 1 becomes 1.
// So a constructed interval has times >= 1 and days >= 1, and equal numbers are always exactly
// 1/1. times greater than days (2/1) is kept. The setters do not normalise.
//
// A value type: C++ copies and assignments copy the two numbers as they are; copy() is the
// normalising copy (a new interval built from the current numbers).
class RepeatInterval final : public SecureCoding {
  public:
    // The runtime class name that stores and archives record.
    static constexpr std::string_view kClassName = "RepeatInterval";

    // 1/1: every day.
    RepeatInterval() = default;
    RepeatInterval(std::int64_t times, std::int64_t days);

    std::int64_t times() const noexcept { return times_; }
    std::int64_t days() const noexcept { return days_; }
    void setTimes(std::int64_t times) noexcept { times_ = times; }
    void setDays(std::int64_t days) noexcept { days_ = days; }

    // The localised, user-facing text: the every-day text when times equals days; else the
    // counted times text followed by the per-week text when days is 7, or by the counted
    // per-days text otherwise ("every day", "3 times per week", "2 times in 3 days").
    std::string name() const;
    // The same text as name().
    std::string description() const;
    // times, "/", days in decimal: "3/7", "1/1".
    std::string analyticsDescription() const;

    // A new interval built from the current numbers, normalised.
    RepeatInterval copy() const { return RepeatInterval(times_, days_); }

    // True only when `other` holds a RepeatInterval with the same times and days; an empty
    // value or a value of another type is unequal.
    bool isEqual(const std::any& other) const;
    friend bool operator==(const RepeatInterval& lhs, const RepeatInterval& rhs) noexcept {
        return lhs.times_ == rhs.times_ && lhs.days_ == rhs.days_;
    }

    // Secure coding: "times" and "days" as integers. Decoding reads both (a missing key reads
    // as 0) and normalises, so it never fails on a readable archive: an archive without the
    // keys is 1/1, one with only "times" = 4 is 4/1.
    std::string className() const override { return std::string(kClassName); }
    void encode(KeyedArchiver& coder) const override;
    static std::optional<RepeatInterval> decode(KeyedUnarchiver& coder);

  private:
    std::int64_t times_ = 1;
    std::int64_t days_ = 1;
};

}  // namespace dovrel
