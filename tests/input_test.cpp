// The two file formats: what is accepted, and every message.
#include "ggi/console/common/console_io.h"
#include "tests/support.h"

#include <gtest/gtest.h>
#include <regex>
#include <sstream>

namespace {

struct reading {
    int status;
    std::string err;
    std::string genotypes = ""; // a blank after each
};

// Both file names are kept short, so that wrapping never splits a word.
reading read_spec(std::string const& text, variable& v) {
    scratch files;
    v.init();
    std::string const path = files.write("s", text);
    testing::internal::CaptureStderr();
    int const status = validate_spec(path, v);
    std::string const err = unwrapped(testing::internal::GetCapturedStderr());
    return {status, std::regex_replace(err, std::regex(path), "@")};
}

reading read_data(std::string const& text, std::string const& spec) {
    scratch files;
    variable v;
    read_spec(spec, v);
    case_control_ggi_data data;
    data.init();
    data.n_covariates = v.n_covariates;
    std::string* names = nullptr;
    testing::internal::CaptureStderr();
    reading r{read_file(files.write("d", text), v, names, data.genotypes, data.status,
                        data.covariates, data.n_subjects),
              unwrapped(testing::internal::GetCapturedStderr())};
    EXPECT_EQ(data.genotypes == nullptr, r.status != 1);
    for (unsigned i = 0; i < data.n_subjects; ++i)
        r.genotypes += data.genotypes[i]->str() + " ";
    delete[] names;
    data.free();
    v.free();
    return r;
}

} // namespace

TEST(validate_spec, messages) {
    std::string const good = "STATUS=1\nGENE=2 3\nEFFECT=1\n";
    struct {
        std::string text;
        char const* err;
    } const cases[] = {
        {good, ""},
        {"STATUS=1\r\nGENE=2 3 \t\r\nEFFECT=1\r\nMODEL=dominant\r\n", ""},
        {"free text\n\n   \nof no account\n" + good, ""},
        {good + "colour=red", "@:4: warning: no known variable, line ignored.\n"},
        {good + "the MODEL is additive\n", "@:4: error: invalid definition for variable MODEL.\n"},
        {"", "@: error: variable STATUS is not defined.\n@: error: variable GENE is not defined.\n"
             "@: error: variable EFFECT is not defined.\n"},
        {"STATUS=0\nGENE=2 3\nEFFECT=1\n", "@:1: error: 0 is not a valid column.\n"},
        {good + "STATUS=2\n", "@:4: error: variable STATUS is multiply defined.\n"},
        {good + "HEADER=1\nHEADER=0\nHEADER=0\n",
         "@:5: warning: HEADER has no effect, the first line of a data file holds names.\n"},
        {"STATUS=1 2\nGENE=2 3\nEFFECT=1\nITERATIONS=1e3\nFITERATIONS=7 or so\n"
         "THRESHOLD=.25x\nTOLERANCE=0.5 %\nFTOLERANCE= 1e-9 \r\n",
         "@:1: warning: '1 2' is read as 1.\n@:4: warning: '1e3' is read as 1.\n"
         "@:5: warning: '7 or so' is read as 7.\n@:6: warning: '.25x' is read as .25.\n"
         "@:7: warning: '0.5 %' is read as 0.5.\n"},
        {good + "THRESHOLD=1\nTOLERANCE=x\n",
         "variable THRESHOLD must be between 0.0 and 1.0.\n"
         "@:4: error: invalid definition for variable THRESHOLD.\n"
         "@:5: error: invalid definition for variable TOLERANCE.\n"},
        {good + "ITERATIONS=0\nHW=maybe\nSAMPLE=all\nMODEL=Additive\nFITERATIONS=4294967296\n",
         "@:4: error: invalid definition for variable ITERATIONS.\n"
         "@:5: error: invalid definition for variable HW.\n"
         "@:6: error: invalid definition for variable SAMPLE.\n"
         "@:7: error: invalid definition for variable MODEL.\n"
         "@:8: error: invalid definition for variable FITERATIONS.\n"},
        {"STATUS=x\nGENE=2 0 3\nGENE=\nEFFECT=1 -2\n",
         "@:1: error: x is not a valid column.\n@:2: error: 0 is not a valid column.\n"
         "@:3: error: invalid definition for variable GENE.\n"
         "@:4: error: -2 is not a valid specifier.\n"},
        {"STATUS=1\nGENE=2\nENVIRONMENT=3 4x\nEFFECT=1 1 0\nEFFECT=1 1\nEFFECT=1 a 1\n",
         "@:3: error: 4x is not a valid column.\n"
         "@:4: error: 0 is not a valid covariate specifier.\n"
         "@:5: error: read 2 values for variable EFFECT, expected 3.\n"
         "@:6: error: a is not a valid covariate specifier.\n"},
        {"STATUS=1\nGENE=5 4\nGENE=3 1 1\nEFFECT=1 1\nEFFECT=1  +1\n",
         "@:2: warning: columns are not in increasing order, loci are taken in column order.\n"
         "@:3: warning: column 1 is defined more than once.\n"
         "@:5: warning: effect is defined more than once.\n"},
        {"STATUS=1\nGENE=2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18\nEFFECT=1 1\n"
         "GENE=19 20 21 22 23 24 25 26 27 28 29 30 31 32 33 34\n",
         "@:4: error: more than 32 loci are defined.\n"},
    };
    for (auto const& c : cases) {
        variable v;
        reading const r = read_spec(c.text, v);
        EXPECT_EQ(r.status, r.err.find("error: ") == std::string::npos ? 1 : -9999) << c.text;
        EXPECT_EQ(r.err, c.err) << c.text;
        v.free();
    }
}

TEST(validate_spec, values) {
    variable v;
    reading const r = read_spec("  my STATUS =4\nGENE=2 3\nGENE=5\nEFFECT=1 -1 1 -1\n"
                                "ENVIRONMENT=6\nENVIRONMENT=8\nMAXFITERATIONS=100\nHW = HWD\n"
                                "MODEL=RECESSIVE\nSAMPLE=combined\nTHRESHOLD=0.05\nTHRESHOLD=.25\n"
                                "FTOLERANCE=1e-9\nTOLERANCE=0.5\nHEADER=1\nITERATIONS=7",
                                v);
    EXPECT_EQ(r.err, "");
    std::ostringstream values;
    for (unsigned const n : {v.status_column, v.n_genes, v.gene_loci[0], v.gene_columns[0][1],
                             v.gene_columns[1][0], v.n_covariates, v.covariate_columns[1],
                             v.frequency_iterations, v.iterations, v.hw, v.model, v.sample})
        values << n << " ";
    values << v.effects[0][1] << " " << v.threshold << " " << v.frequency_tolerance << " "
           << v.tolerance << " " << v.header;
    EXPECT_EQ(values.str(), "3 2 2 2 4 2 7 100 7 3 2 2 -1 0.25 1e-09 0.5 1");
    v.free();
}

TEST(read_file, messages) {
    // Columns: text, status, covariate, two SNPs.
    std::string const head = "ID D AGE A B\n", row = "me 0 1.5 0 1\n";
    struct {
        std::string text;
        int status;
        char const* err;
    } const cases[] = {
        {head + row, 1, ""},
        {head + "\n" + row + "\n\n" + row + "\n", 1, ""},
        {"ID D AGE A B\r\nme 0 1.5 0 1\r\n\nyou 1 2 2 9\r\n", 1, ""},
        {head + "you 1.0 -1e-3 3 -1\nx 0e5 +.5 1.5 2.\n", 1, ""},
        {head + row + "you 1 3 0 1", 1, "d: warning: last line has no newline and is ignored.\n"},
        {"", -9988, "d: error: no data found.\n"},
        {"\n\n", -9988, "d: error: no data found.\n"},
        // White space alone is one column without a value, but a last line without a newline is none.
        {"\n\n  \n", -9989, "d: error: file format does not match defined columns.\n"},
        {"  \n" + head + row, -9989, "d: error: file format does not match defined columns.\n"},
        {"  ", -9989, "d: error: file format does not match defined columns.\n"},
        {head + row + " \n" + row, -9989,
         "d:3: error: file format does not match defined columns.\n"},
        {"ID D AGE A B\r\nme 0 1 0 1\r\n\r\n", -9989,
         "d:3: error: file format does not match defined columns.\n"},
        {head + row + "  ", 1, ""},
        {head, -9988, "d: error: no data found.\n"},
        {"ID D AGE A B", -9988, "d: error: no data found.\n"},
        {head + "me 0 1 0 1", -9988,
         "d: warning: last line has no newline and is ignored.\nd: error: no data found.\n"},
        {"\n" + head + row, -9989, "d: error: file format does not match defined columns.\n"},
        {"ID D AGE A\n" + row, -9989, "d: error: file format does not match defined columns.\n"},
        {head + row + "\nme 0 1\n", -9989,
         "d:4: error: file format does not match defined columns.\n"},
        {head + "me 0 1 0 x\nme 0 1 0 1 \n", -9990, "d:3: error: invalid file format.\n"},
        {"ID D AGE A B C\n" + row, -9990, "d:2: error: invalid file format.\n"},
        {head + row + "me 2 1 0 1\nme x 1 0 1\n", -9982,
         "d:3: error: invalid data for variable STATUS.\n"},
        {head + "me 1 1,5 0 1\n", -9982, "d:2: error: invalid data for variable ENVIRONMENT.\n"},
        {head + "\nme 1 1 0 0/1\n", -9982, "d:3: error: invalid data for variable GENE.\n"},
        {"ID D AGE A \nme 0 1.5 0 \n", -9982, "d:2: error: invalid data for variable GENE.\n"},
    };
    std::string const spec = "STATUS=2\nENVIRONMENT=3\nGENE=4 5\nEFFECT=1 -1\n";
    for (auto const& c : cases) {
        reading const r = read_data(c.text, spec);
        EXPECT_EQ(r.status, c.status) << c.text;
        EXPECT_EQ(r.err, c.err) << c.text;
    }
    for (char const* bad : {"1abc", "0x1", "nan", "inf", "1e999", "NA", "?", ".", "1e", "--1", "+"})
        EXPECT_EQ(read_data(head + "me 0 1 0 " + bad + "\n", spec).err,
                  "d:2: error: invalid data for variable GENE.\n")
            << bad;
    EXPECT_EQ(read_data("A\n1\n \n", "STATUS=1\nGENE=1\nEFFECT=1\n").err,
              "d:3: error: invalid data for variable GENE.\n");
}

// A blank line is no subject, however many loci it lacks.
TEST(read_file, blank_line_at_32_loci) {
    std::string spec = "STATUS=1\nEFFECT=1\nGENE=", names = "D", snps;
    for (int l = 0; l < 32; ++l) {
        spec += std::to_string(l + 2) + " ";
        names += " S";
        snps += " 2";
    }
    reading const r = read_data(names + "\n0" + snps + "\n\n1" + snps + "\n", spec + "\n");
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.genotypes, std::string(32, '2') + " " + std::string(32, '2') + " ");
}

TEST(read_file, coding) {
    // Columns out of order: loci are taken in column order, whatever gene they belong to.
    sample s("id B X1 D A X2\nme 2 1.5 1 0 -3\nyou 9 7 0 1 1e2\n",
             "STATUS=4\nGENE=2\nGENE=5\nENVIRONMENT=3 6\nEFFECT=1 -1 -1 -1\n");
    ASSERT_EQ(s.ccg.n_subjects, 2u);
    EXPECT_EQ(s.ccg.genotypes[0]->str(), "20");
    EXPECT_EQ(s.ccg.genotypes[1]->str(), "91");
    EXPECT_EQ(s.ccg.status[0], 1u);
    EXPECT_EQ(s.ccg.status[1], 0u);
    EXPECT_EQ(s.ccg.covariates[0][0], 1.5);
    EXPECT_EQ(s.ccg.covariates[1][1], 100.0);
    EXPECT_EQ(s.ccg.genotypes[1]->n_covariates, 2u);
    // A column named twice gives its value to both; one that is also a SNP is still read.
    sample twice("D A X\n1 2 1.5\n0 1 7\n",
                 "STATUS=1\nGENE=2\nENVIRONMENT=3 2 3\nEFFECT=1 1 1 1\n");
    double const* const* const x = twice.ccg.covariates;
    EXPECT_EQ((std::vector<double>{x[0][0], x[1][0], x[2][0]}), (std::vector<double>{2, 1.5, 1.5}));
    EXPECT_EQ(std::vector<std::string>(s.labels, s.labels + 6),
              (std::vector<std::string>{"", "B", "X1", "D", "A", "X2"}));
}
