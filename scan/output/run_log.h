// What a run says: to the standard error stream, and into its log.
#ifndef QUILMAR_SCAN_OUTPUT_RUN_LOG_H
#define QUILMAR_SCAN_OUTPUT_RUN_LOG_H

#include <mutex>
#include <string>

namespace scan {

class run_log {
  public:
    explicit run_log(bool is_quiet) : is_quiet_(is_quiet) {}

    // A line for the log alone.
    void record(std::string const& line);
    // A line for both; of the two the log alone when quiet.
    void note(std::string const& line);
    // The same after "Warning: ".
    void warn(std::string const& line) { note("Warning: " + line); }

    bool is_quiet() const { return is_quiet_; }
    std::string text() const;

  private:
    bool is_quiet_;
    mutable std::mutex mutex_; // a signal may ask for the text
    std::string text_;
};

// Prints lines to the standard error stream with a "?" for every other control character.
void print_lines(std::string const& lines);

} // namespace scan

#endif
