#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace KestrelCore {

/// Sets or unsets an environment variable while it lives; null unsets it. Not while other threads read the environment.
class EnvironmentSetting {
public:
    EnvironmentSetting(const char* name, const char* value) : name_{name} {
        if (const char* old = std::getenv(name)) old_ = old;
        set(value);
    }
    EnvironmentSetting(const EnvironmentSetting&) = delete;
    EnvironmentSetting& operator=(const EnvironmentSetting&) = delete;
    ~EnvironmentSetting() { set(old_ ? old_->c_str() : nullptr); }

private:
    void set(const char* value) {
        if (value != nullptr) {
            setenv(name_, value, 1);
        } else {
            unsetenv(name_);
        }
    }

    const char* name_;
    std::optional<std::string> old_;
};

}  // namespace KestrelCore
