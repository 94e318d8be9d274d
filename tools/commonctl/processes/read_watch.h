// Sees whether somebody reads a file after it was put in place.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

#include "processes/settings_files.h"

namespace commonctl {

/// Watches for readers of one file of a folder. Made before the file is put in place; reads of the
/// file that was there before do not count, nor do those of look_into().
class ReadWatch {
public:
    ReadWatch(const SettingsFolder& folder, std::string name);

    /// Waits for so many reads.
    /// @param goes_on asked now and then; false ends the wait.
    /// @return how many there were until now; 0 also when the kernel lets nobody watch.
    std::size_t wait(std::size_t wanted, std::chrono::milliseconds patience,
                     const std::function<bool()>& goes_on);

private:
    void take_events();

    std::string name_;
    Descriptor fd_;
    bool in_place_ = false;
    std::size_t opened_ = 0;  ///< and not closed yet
    std::size_t read_ = 0;
};

}  // namespace commonctl
