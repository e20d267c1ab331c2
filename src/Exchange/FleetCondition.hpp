#pragma once

#include <string>
#include <utility>

namespace KestrelCore {

/// A condition in SQL of which the store may know less than all: what holds where `possible` fails is nothing, and what
/// fails where `certain` holds is nothing either.
struct FleetCondition {
    std::string possible = "1";
    std::string certain = "1";

    /// Of one that the store can judge.
    [[nodiscard]] static FleetCondition exact(const std::string& sql) { return {sql, sql}; }

    [[nodiscard]] FleetCondition operator!() const {
        return {negated(certain), possible == certain ? negated(certain) : negated(possible)};
    }
    FleetCondition& operator&=(const FleetCondition& other) {
        possible = both(possible, other.possible);
        certain = both(certain, other.certain);
        return *this;
    }
    FleetCondition& operator|=(const FleetCondition& other) {
        possible = either(possible, other.possible);
        certain = either(certain, other.certain);
        return *this;
    }

    [[nodiscard]] static std::string both(const std::string& a, const std::string& b) {
        if (a == "1" || b == "0") return b;
        if (b == "1" || a == "0") return a;
        return "(" + a + " AND " + b + ")";
    }
    [[nodiscard]] static std::string either(const std::string& a, const std::string& b) {
        if (a == "0" || b == "1") return b;
        if (b == "0" || a == "1") return a;
        return "(" + a + " OR " + b + ")";
    }
    [[nodiscard]] static std::string negated(const std::string& sql) {
        if (sql == "0") return "1";
        return sql == "1" ? "0" : "NOT " + sql;
    }
};

}  // namespace KestrelCore
