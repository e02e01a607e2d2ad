// Entry points of the fuzz targets, shared by the libFuzzer drivers and the regression test that
// replays the saved crashers through the ordinary build.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace quorix_fuzz {

// Prepares a private scratch directory holding copies of the three databases from `data_dir`
// and of `structure_cif` (the input file of the command-line target). Call once before any entry.
void set_up(const std::string& data_dir, const std::string& structure_cif);

// Each entry feeds one input to one reader and frees what it made; none may crash or leak.
void cif(const uint8_t* data, size_t size);        // CIF file
void cube(const uint8_t* data, size_t size);       // Gaussian cube file
void symcards(const uint8_t* data, size_t size);   // space-group table file
void parameters(const uint8_t* data, size_t size); // species and pair parameter files
void command(const uint8_t* data, size_t size);    // command line: a command and its arguments

// The entry named by a target name ("cif", "cube", ...), or nullptr.
using Entry = void (*)(const uint8_t*, size_t);
Entry find(const std::string& target);

}  // namespace quorix_fuzz
