// Reading of the variable specification file and of data files, writing of the report, and the
// usage and help texts.
#ifndef QUILMAR_CONSOLE_CONSOLE_IO_H
#define QUILMAR_CONSOLE_CONSOLE_IO_H

#include "ggi/case_control_ggi_data.h"
#include "ggi/console/common/variable.h"
#include "ggi/structures.h"

#include <initializer_list>
#include <set>
#include <string>
#include <string_view>
#include <vector>

// --- console_io_file.cpp ---

// Loads a regular file into a new buffer of `length` characters and a closing NUL, which the caller
// releases with array delete; an empty file has length 0. Returns SUCCESS, or with buffer null
// OPEN_FAILED, READ_FAILED (also for a file of more than INT_MAX bytes) or CLOSE_FAILED.
int get_file(std::string const& path, char*& buffer, int& length);

// The part of a path after its last "/", a closing "/" left out.
std::string base_name(std::string path);

// --- console_io_spec.cpp ---

// Reads the variable specification file over the defaults in v, whose arrays it allocates. Every
// error of the file is printed with its line. Returns 1, or NOTE when anything but warnings was
// printed.
int validate_spec(std::string const& path, variable& v);

// Stores the value of one keyword. n_genes, n_covariates and n_effects must have been counted and
// the arrays allocated; GENE and EFFECT fill the next free row, ENVIRONMENT the next free entries.
// Returns 1, or 0 for a bad value with the reason in `message`, which stays empty where none is to
// be told.
int setvar(unsigned key, std::string const& value, variable& v, std::string& message);

// --- console_io_data.cpp ---

// Reads one data file. All outputs are null on entry, allocated here and owned by the caller, who
// releases what is there if memory runs out: the names of the defined columns (empty for ignored
// ones), the genotypes of the n subjects (pointers into one block that the first one begins), their
// status and, per covariate, their values. Prints its messages. Returns 1, or the code printed with
// all outputs null; OPEN_FAILED alone is left to the caller to print.
int read_file(std::string path, variable const& v, std::string*& names, genotype**& genotypes,
              unsigned*& status, double**& covariates, unsigned& n);

// --- console_io_report.cpp ---

struct outfmt_row {
    std::string title; // of the group of rows that it belongs to; empty for none
    std::string label;
    unsigned parameter; // index of its statistics
};

// Layout of the effects section: rows in print order and the width of the label column.
struct outfmt {
    unsigned width;
    std::vector<outfmt_row> effects;
    std::vector<outfmt_row> environment;
    std::vector<outfmt_row> frequencies;
};

// Lays out the effects section for a model that has been set up. labels are the names of the data
// file's columns.
void format_output(case_control_ggi_data const& data, variable const& v, std::string const* labels,
                   outfmt& format);

// Writes the report of one data file, with the frequency section and the effects section as asked
// for. Returns what save_text returns.
int write_file(std::string const& output, std::string const& data_path, std::string const* labels,
               outfmt const& format, case_control_ggi_data const& data, variable const& v,
               result const& frequency, result const& fit, statistics const& stats,
               bool with_frequencies, bool with_effects);

// Estimate, standard error, z and p of one parameter, each right-aligned in `width` columns with
// `precision` decimals; blanks where the array is null.
std::string statstr(statistics const& stats, unsigned parameter, int width, int precision);

// --- console_io_save.cpp ---

// Saves a report, given in parts. A file of that name is replaced once the new one is whole, and is
// left alone if that fails; where the directory does not permit it, a file that may be written is
// overwritten. The caller's links are followed, a device or FIFO is written to. Returns SUCCESS,
// OPEN_FAILED (also for an input and for a link of someone else) or CLOSE_FAILED.
int save_text(std::string const& output, std::initializer_list<std::string_view> text,
              std::set<file_id> const& inputs);

// Is this the name of a report that is being written, or that a run left when it was killed?
bool is_temporary_name(std::string const& name);

// --- console_io_help.cpp ---

// Prints the usage, with a pointer to --help when asked for. Returns 0.
int usage_display(bool hint);

// Prints version, usage and the list of options. Returns 0.
int help_display();

#endif
