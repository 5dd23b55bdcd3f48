// The list of data files of a run.
#ifndef QUILMAR_CONSOLE_DATA_FILES_H
#define QUILMAR_CONSOLE_DATA_FILES_H

#include <dirent.h>
#include <string>
#include <vector>

// The data path as typed; a directory's ends in "/".
extern std::string indata;

struct data_files {
    bool is_directory;
    std::vector<std::string> names; // entries of the directory in order, or the path as typed

    // Where the file of that name is.
    std::string path(std::string const& name) const { return is_directory ? indata + name : name; }
};

// Selector of scandir: is indata + the entry's name a regular file, links followed? A report that
// was left unfinished is none.
int filter(dirent const* entry);

// Sets indata and lists its files. What is wrong is printed. Returns 1 when there is a file to
// read; otherwise the exit status of the run: the code of a bad path, or 0 for a directory that
// holds no file or none that can be read.
int list_data_files(std::string const& path, data_files& files);

#endif
