#include "quorix-cmd.hpp"

int main(int argc, char** argv) { return quorix_cmd_start(argc, argv); }
