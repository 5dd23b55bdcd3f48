// Signals that end the run, and the files that must not stay then.
#ifndef QUILMAR_SCAN_OUTPUT_SIGNALS_H
#define QUILMAR_SCAN_OUTPUT_SIGNALS_H

#include <functional>
#include <mutex>
#include <set>
#include <string>

namespace scan {

// From now on SIGHUP, SIGINT, SIGQUIT, SIGTERM and SIGXCPU remove the temporary files and end the
// program with 128 + their number; writing beyond a size limit or to a closed pipe is an error. To
// be called before there are threads.
void handle_signals();

// What the program does, after it has said which signal ended it, as long as this lives. There may be
// one at a time.
class last_words {
  public:
    explicit last_words(std::function<void(std::string const& ending)> say);
    ~last_words();
    last_words(last_words const&) = delete;
    last_words& operator=(last_words const&) = delete;
};

// As long as one of them lives, the calling thread has the names to itself and no signal ends the
// program.
class temporary_files {
  public:
    temporary_files();
    void add(std::string const& name);
    void remove(std::string const& name);

  private:
    std::lock_guard<std::recursive_mutex> held_;
};

} // namespace scan

#endif
