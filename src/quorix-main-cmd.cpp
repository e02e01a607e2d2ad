// Entry point of quorix.x: hands the command line to the front end.
#include "quorix-cmd.hpp"

int main(int argc, char** argv) { return quorix_cmd_start(argc, argv); }
