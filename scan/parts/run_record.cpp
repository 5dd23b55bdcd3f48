#include "scan/parts/run_record.h"

#include "ggi/console/common/console_status.h"

#include <algorithm>
#include <ctime>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace scan {

namespace {

char const* const CHANGE_NO_TABLE[] = {"--out", "--threads", "--quiet", "--resume"};

std::string time_text(timespec const& time) {
    std::tm parts{};
    gmtime_r(&time.tv_sec, &parts);
    char seconds[32], fraction[16];
    std::strftime(seconds, sizeof seconds, "%Y-%m-%d %H:%M:%S", &parts);
    std::snprintf(fraction, sizeof fraction, ".%09ld", time.tv_nsec);
    return std::string(seconds) + fraction;
}

std::string const* find(run_record const& record, std::string const& name) {
    auto const entry = std::find_if(record.begin(), record.end(),
                                    [&](auto const& line) { return line.first == name; });
    return entry == record.end() ? nullptr : &entry->second;
}

std::string described(std::string const* value) {
    if (value == nullptr) return "not given";
    return value->empty() ? "given" : *value;
}

} // namespace

run_record record_of(options const& o) {
    run_record record = {{"version", QUILMAR_VERSION}};
    for (std::string const& line : o.in_effect) {
        std::size_t const blank = std::min(line.find(' '), line.size());
        std::string const name = line.substr(0, blank);
        if (std::find(std::begin(CHANGE_NO_TABLE), std::end(CHANGE_NO_TABLE), name) ==
            std::end(CHANGE_NO_TABLE))
            record.emplace_back(name, printable(line.substr(std::min(blank + 1, line.size()))));
    }
    for (auto const& entry : record_of_inputs(o))
        record.push_back(entry);
    return record;
}

run_record record_of_inputs(options const& o) {
    run_record record;
    for (input_file const& input : input_files(o)) {
        struct stat info;
        if (stat(input.path.c_str(), &info) != 0) continue;
        record.emplace_back("the file of " + input.option,
                            S_ISREG(info.st_mode) ? std::to_string(info.st_size) + " bytes of " +
                                                        time_text(info.st_mtim)
                                                  : "read by process " + std::to_string(getpid()));
    }
    return record;
}

std::string text(run_record const& record) {
    std::string lines;
    for (auto const& [name, value] : record)
        lines.append(name).append("\t").append(value).append("\n");
    return lines;
}

run_record parse_record(std::string const& text) {
    run_record record;
    std::istringstream stream(text);
    for (std::string name, value; std::getline(stream, name, '\t') && std::getline(stream, value);)
        record.emplace_back(name, value);
    return record;
}

std::string difference(run_record const& before, run_record const& now) {
    for (run_record const* one : {&before, &now})
        for (auto const& entry : *one) {
            std::string const was = described(find(before, entry.first)),
                              is = described(find(now, entry.first));
            if (was != is) return entry.first + " was " + was + " and is " + is;
        }
    return "";
}

} // namespace scan
