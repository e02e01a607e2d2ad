// Command-line front end: run options, the command table and dispatch, help and inline text mode.
#include "quorix-cmd.hpp"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "quorix-alloc.hpp"

namespace {

char* duplicate(const char* s) {
    const size_t size = std::strlen(s) + 1;
    auto* copy = static_cast<char*>(std::malloc(size));
    if (copy) std::memcpy(copy, s, size);
    return copy;
}

using Handler = void (*)(QUORIX_CMD_OPT*);

struct Command {
    const char* name;
    Handler handler;
};

// Matched in this order by whole-string equality; the first match runs.
constexpr Command kCommands[] = {
    {"--version", quorix_cmd_opt_do_print_version},
    {"-v", quorix_cmd_opt_do_print_version},
    {"--help", quorix_cmd_opt_do_print_help},
    {"-h", quorix_cmd_opt_do_print_help},
    {"--print-sys", quorix_cmd_opt_print},
    {"--print-cell", quorix_cmd_opt_do_print_cell},
    {"--print-ppt", quorix_cmd_opt_do_print_ppt},
    {"--print-ppt-full", quorix_cmd_opt_do_print_ppt_full},
    {"--print-sym", quorix_cmd_opt_do_print_sym},
    {"--print-cube", quorix_cmd_opt_do_print_cube},
    {"--gen-cif", quorix_cmd_opt_do_gen_cif},
    {"--gen-cif-reduced", quorix_cmd_opt_do_gen_cif_reduced},
    {"--gen-cif-p1", quorix_cmd_opt_do_gen_cif_p1},
    {"--gen-cif-assign", quorix_cmd_opt_do_gen_cif_assign},
    {"--gen-cif-assign-all", quorix_cmd_opt_do_gen_cif_assign_all},
    {"--gen-gin-lib", quorix_cmd_opt_do_gen_gin_lib},
    {"--gen-gin", quorix_cmd_opt_do_gen_gin},
    {"--gen-cube", quorix_cmd_opt_do_gen_cube},
    {"--cal-charge", quorix_cmd_opt_do_cal_charge},
    {"--cal-bv", quorix_cmd_opt_do_cal_bv},
    {"--cal-bv-gui", quorix_cmd_opt_do_cal_bv_gui},
    {"--cal-bv-type", quorix_cmd_opt_do_cal_bv_type},
    {"--cal-gii", quorix_cmd_opt_do_cal_gii},
    {"--cal-cn", quorix_cmd_opt_do_cal_cn},
    {"--cal-cn-atom", quorix_cmd_opt_do_cal_cn_atom},
    {"--cal-cn-type", quorix_cmd_opt_do_cal_cn_type},
    {"--cal-cn-bv", quorix_cmd_opt_do_cal_cn_bv},
    {"--cal-sym", quorix_cmd_opt_do_cal_sym},
    {"--cal-tot-en", quorix_cmd_opt_do_cal_tot_en},
    {"--rx-sd", quorix_cmd_opt_do_rx_sd},
    {"--rx-neb", quorix_cmd_opt_do_rx_neb},
    {"--rx-neb-images", quorix_cmd_opt_do_rx_neb_images},
    {"--fft", quorix_cmd_opt_do_fft},
    {"--fft-cubes", quorix_cmd_opt_do_fft_cubes},
    {"--fp-map", quorix_cmd_opt_do_fp_map},
    {"--gh", quorix_cmd_opt_do_gh},
    {"--kmc", quorix_cmd_opt_do_kmc},
    {"--sites", quorix_cmd_opt_do_sites},
    {"--md", quorix_cmd_opt_do_md},
    {"--text-cal-bv", quorix_cmd_opt_do_text_cal_bv},
    {"--text-gen-gin-lib", quorix_cmd_opt_do_text_gen_gin_lib},
    {"--text-gen-gin-lib-set-sf", quorix_cmd_opt_do_text_gen_gin_lib_set_sf},
    {"--gen-cif-os", quorix_cmd_opt_do_gen_cif_os},
    {"--gen-cif-std", quorix_cmd_opt_do_gen_cif_std},
    {"--cal-sym-std", quorix_cmd_opt_do_cal_sym_std},
    {"--md-std", quorix_cmd_opt_do_md_std},
    {"--gen-lammps", quorix_cmd_opt_do_gen_lammps},
};

Handler find_handler(int argc, char** argv) {
    if (argc < 2) return quorix_cmd_opt_do_print_version;
    for (const Command& command : kCommands)
        if (std::strcmp(argv[1], command.name) == 0) return command.handler;
    return nullptr;
}

}  // namespace

void quorix_cmd_opt_split_path(char** dir_out, char** name_out, const char* path) {
    const char* slash = std::strrchr(path, '/');
    if (dir_out) {
        if (slash) {
            const size_t length = static_cast<size_t>(slash - path) + 1;
            *dir_out = static_cast<char*>(std::malloc(length + 1));
            if (*dir_out) {
                std::memcpy(*dir_out, path, length);
                (*dir_out)[length] = '\0';
            }
        } else {
            *dir_out = duplicate("./");
        }
    }
    if (name_out) *name_out = duplicate(slash ? slash + 1 : path);
}

void quorix_cmd_opt_get_type(char* dst, const char* src) {
    dst[0] = '\0';
    if (!src) return;
    std::strncat(dst, src, 2);
}

QUORIX_CMD_OPT* quorix_cmd_opt_init(int argc, char** argv) {
    const char* executable = argc > 0 && argv && argv[0] ? argv[0] : "";
    if (std::strlen(executable) > 999) {
        std::fprintf(stderr, "Error: executable path too long.\n");
        return nullptr;
    }
    auto* opt = static_cast<QUORIX_CMD_OPT*>(std::calloc(1, sizeof(QUORIX_CMD_OPT)));
    if (!opt) {
        std::fprintf(stderr, "Error: unable to allocate QUORIX_CMD_OPT.\n");
        return nullptr;
    }
    opt->argc = argc;
    opt->argv = argv;
    quorix_cmd_opt_split_path(&opt->path_executable, nullptr, executable);
    bool allocated = opt->path_executable != nullptr;

    const char* names[3] = {"database_unitary.dat", "database_binary.dat", "database_symcards.dat"};
    char** fields[3] = {&opt->dir_unitary, &opt->dir_binary, &opt->dir_symcards};
    for (int i = 0; i < 3 && allocated; i++) {
        char path[1024];
        std::snprintf(path, sizeof(path), "%.1023s", opt->path_executable);
        std::strncat(path, names[i], sizeof(path) - std::strlen(path) - 1);
        if (FILE* probe = std::fopen(path, "rb"))
            std::fclose(probe);
        else
            std::printf("Warning: unable to find %s\n", path);
        *fields[i] = duplicate(path);
        allocated = *fields[i] != nullptr;
    }
    if (allocated) {
        opt->mode_text = duplicate("-:text");
        opt->mode_newline = duplicate("-:nl");
        allocated = opt->mode_text && opt->mode_newline;
    }
    if (!allocated) {
        std::fprintf(stderr, "Error: unable to allocate string.\n");
        quorix_cmd_opt_free(opt);
        return nullptr;
    }
    return opt;
}

void quorix_cmd_opt_free(QUORIX_CMD_OPT* opt) {
    if (!opt) return;
    std::free(opt->dir_unitary);
    std::free(opt->dir_binary);
    std::free(opt->dir_symcards);
    std::free(opt->path_executable);
    std::free(opt->mode_text);
    std::free(opt->mode_newline);
    std::free(opt);
}

void quorix_cmd_opt_print(QUORIX_CMD_OPT* opt) {
    if (!opt) {
        std::printf("CMD_OPT: (not allocated)\n");
        return;
    }
    std::printf("CMD_OPT: dir_unitary=     %s\n", opt->dir_unitary);
    std::printf("CMD_OPT: dir_binary=      %s\n", opt->dir_binary);
    std::printf("CMD_OPT: dir_symcards=    %s\n", opt->dir_symcards);
    std::printf("CMD_OPT: path_executable= %s\n", opt->path_executable);
    std::printf("CMD_OPT: mode_text=   \"%s\"\n", opt->mode_text);
    std::printf("CMD_OPT: mode_newline=\"%s\"\n", opt->mode_newline);
}

QUORIX_TEXT* quorix_cmd_opt_cat_tail(const QUORIX_CMD_OPT* opt) {
    int start = -1;
    for (int i = 0; i + 1 < opt->argc; i++)
        if (std::strcmp(opt->argv[i], opt->mode_text) == 0) start = i + 1;
    if (start < 0) {
        std::fprintf(stderr, "Error: text-mode key phrase not found.\n");
        return nullptr;
    }
    QUORIX_TEXT* text = quorix_text_new(nullptr);
    if (!text) {
        std::fprintf(stderr, "Error: quorix_text_new() returns NULL.\n");
        return nullptr;
    }
    for (int i = start; i < opt->argc; i++) {
        const bool newline = std::strcmp(opt->argv[i], opt->mode_newline) == 0;
        // A failed append has already released the text.
        const bool failed = newline ? quorix_text_append(text, "\n")
                                    : (quorix_text_append(text, " ") || quorix_text_append(text, opt->argv[i]));
        if (failed) {
            std::fprintf(stderr, "Error: quorix_text_append() returns non-zero.\n");
            return nullptr;
        }
    }
    return text;
}

void quorix_cmd_opt_do_print_version(QUORIX_CMD_OPT*) {
    std::printf("  Quorix-ver?-cmd\n");
    std::printf("    --help to list commands available.\n");
    std::printf("    Maintained by the Quorix developers.\n");
    std::printf("    Contact: maintainers of the Quorix project repository.\n");
}

void quorix_cmd_opt_do_print_help(QUORIX_CMD_OPT*) {
    static const char* const kLines[] = {
        "Message: avalable commands are listed.\n",
        "Message: detailed help with each command can be found by typing each command without argument,\n",
        "Message: basic format is: --command-name [compulsory arguments] | {optional arguments}\n",
        "\n",
        "Message:   --help              : display this help.\n",
        "Message:   --print-cell        : print the loaded cell.\n",
        "Message:   --print-ppt         : print the property corresponding to the loaded cell.\n",
        "Message:   --print-sym         : print the symmetry corresponding to the loaded cell.\n",
        "Message:   --print-cube        : print a summary of the loaded cube.\n",
        "\n",
        "Message:   --gen-cif           : write the loaded cell to file in cif format.\n",
        "Message:   --gen-cif-reduced   : write the loaded cell reduced by symmetry to file in cif format.\n",
        "Message:   --gen-cif-p1        : write the loaded cell to file in cif format without symmetry.\n",
        "Message:   --gen-cif-assign    : write the loaded cell to file in cif format with partially occupied sites "
        "of conducting species assigned occupancy = 1.0 randomly.\n",
        "Message:   --gen-cif-assign-all: write the loaded cell to file in cif format with all partially occupied "
        "sites assigned occupancy = 1.0 randomly.\n",
        "Message:   --gen-gin-lib       : generate a forcefield file in .lib format for calculation with software "
        "GULP.\n",
        "Message:   --gen-gin           : generate an overall input file in .gin format for performing molecular "
        "dynamics calculaiton with software GULP.\n",
        "Message:   --gen-cube          : calculate the static energy landscape for ionic conduction and write the "
        "result to file in Gaussian cube format.\n",
        "Message:\n",
        "Message:   --cal-bv            : calculate bond valences of the loaded cell.\n",
        "Message:   --cal-gii           : calculate the global instability index of the loaded cell.\n",
        "Message:   --cal-cn            : calculate the coordination number of the specified atom regarding to all "
        "counterions.\n",
        "Message:   --cal-cn-atom       : calculate coordination shell of the specified atom.\n",
        "Message:   --cal-cn-type       : calculates averaged coordination number of the specified pair of ions.\n",
        "Message:   --cal-sym           : calculate symmetry of the loaded cell.\n",
        "Message:   --cal-tot-en        : calculate the total energy of the loaded cell.\n",
        "\n",
        "Message:   --rx-sd             : perform a relaxation of loaded cell with steepest descend algorithm and "
        "write the result to file in cif format.\n",
        "Message:   --rx-neb            : perform a simple nudged elastic bend calculation with input of two end "
        "images.\n",
        "Message:   --rx-neb-images     : perform a simple nudged elastic bend calculation with input of a series of "
        "images.\n",
        "Message:   --fft               : perform a fourier transform analysis to determine critical points and "
        "eigenvalues/vectors at these points.\n",
        "Message:   --fft-cubes         : perform a fourier transform analysis and generate cubes corresponding to "
        "force, force constant, laplacian and slope.\n",
        "Message:   --fp-map            : generates a cif file representing conduction path in the given cube file.\n",
        "Message:   --gh                : generates cif files and csv file representing the characteristic "
        "conduction pathway in the given cube file.\n",
        "Message:   --sites             : output a summary of sites based on graph analysis.\n",
        "Message:   --md                : perform a molecular dynamics allowing only conducting ions to move.\n",
        "Message:   --kmc               : conducts a kinetic monte carlo simulation to estimate the ionic "
        "conductivity given the cif and cube files.\n",
    };
    for (const char* line : kLines) std::fputs(line, stdout);
}

int quorix_cmd_start(int argc, char** argv) {
    QUORIX_CMD_OPT* opt = quorix_cmd_opt_init(argc, argv);
    if (!opt) {
        std::fprintf(stderr, "Error: quorix_cmd_opt_init() returns NULL.\n");
        return 1;
    }
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    if (Handler handler = find_handler(argc, argv))
        handler(opt);
    else
        std::printf("Error: arguments not recognized. '-h' for help.\n");
    quorix_cmd_opt_free(opt);
    return 0;
}
