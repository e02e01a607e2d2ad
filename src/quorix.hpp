// Shared records of quorix: plain structs, fields in their documented order.
// Functions that create, release and use them live in the quorix-<area> units.
#pragma once

#include <fftw3.h>

// Growable NUL-terminated text; capacity grows in blocks of 1024 bytes.
struct QUORIX_TEXT {
    char* content;
    long length;
    long allocated;
};

// The oxidation state readers give an atom whose state the file does not state.
inline constexpr int kQuorixUnknownState = 99;

// One site of a structure.
struct QUORIX_ATOM {
    char name[12];
    char type[3];
    int os;          // oxidation state; 99 means unknown
    double x[3];     // Cartesian, angstrom
    double x_f[3];   // fractional
    double occ;
    long flag;
    double value;    // scratch per-atom scalar
    bool ignored;
};

// A crystal cell: lattice vectors as rows plus its atoms.
struct QUORIX_CELL {
    char name[128];
    long total;
    QUORIX_ATOM* atom;
    double a[3][3];
    double parameter[3];
    double angle[3];
    int Z;
};

// One symmetry operation in fractional, Cartesian and integer (grid) forms.
struct QUORIX_CARD {
    char text[36];
    double r_f[3][3];
    double t_f[3];
    double r[3][3];
    double t[3];
    int r_i[3][3];
    long t_i[3];
};

// A space group: names, number and operations.
struct QUORIX_SYMMETRY {
    char sg_HM[16];
    char sg_Hall[16];
    int sg_id;
    int total;
    QUORIX_CARD* card;
};

struct QUORIX_LIST_NODE {
    QUORIX_LIST_NODE* next;
    QUORIX_LIST_NODE* prev;
    void* data;
};

// Doubly linked list with head and tail sentinels; used as list, stack and queue.
struct QUORIX_LIST {
    QUORIX_LIST_NODE* head;
    QUORIX_LIST_NODE* tail;
    QUORIX_LIST_NODE* curr;
    void (*func_free)(void*);
};

// Options of one run: arguments and the paths of the three database files.
struct QUORIX_CMD_OPT {
    int argc;
    char** argv;
    char* dir_unitary;
    char* dir_binary;
    char* dir_symcards;
    char* path_executable;
    char* mode_text;
    char* mode_newline;
};

// Force-field parameters of one ion species.
struct QUORIX_PROPERTY_UNITARY {
    char type[3];
    int os;
    double soft;
    double rc;
    double m;
    int an;
    int n;
    int g;
    int b;
    int c;
    double q;
};

// Force-field parameters of one ordered pair of species.
struct QUORIX_PROPERTY_BINARY {
    char type1[3];
    int os1;
    char type2[3];
    int os2;
    double b;
    double b_old;
    double r0;
    double cutoff;
    double cn;
    double d0;
    double rmin;
    double r_bc;
    double r_cc;
    double bv_s;
    double en_s;
    double f_s;
    double a0;
    double a1;
    double a2;
};

// The force-field parameter set of one structure.
struct QUORIX_PROPERTY {
    int total;
    char (*type)[3];
    int* os;
    QUORIX_PROPERTY_UNITARY* uni;
    QUORIX_PROPERTY_BINARY** bin;
    double sf;
    int conducting;
};

// Bond valence sums per symmetry-distinct site.
struct QUORIX_BV {
    long total;
    QUORIX_ATOM* atom;
    int* multi;
    double* sum;
    double** value;
};

// Neighbours of one centre atom of one coordinating species.
struct QUORIX_CN {
    char name[12];
    char type[3];
    int os;
    char type_c[3];
    int os_c;
    int total;
    double* r;
    double* occ;
    double* n;
    double* g;
    int total_shell;
    double* r_shell;
    double* n_shell;
    int* index_shell;
};

// Neighbours of one centre atom among all counter-ions.
struct QUORIX_CN_MIX {
    char name[12];
    char type[3];
    int os;
    int total;
    char (*type_c)[3];
    int* os_c;
    double* r;
    double* occ;
    double* n;
    double* g;
    int total_shell;
    double* r_shell;
    double* n_shell;
    int* index_shell;
};

// Coordination of one centre atom judged by bond valence.
struct QUORIX_CN_BV {
    char name[12];
    char type[3];
    int os;
    double BVS;
    int total;
    char (*type_c)[3];
    int* os_c;
    double* r;
    double* occ;
    double* n;
    double* s;
    double* s_sum;
    double* s_ave;
    double* s_det;
    int cn_index;
    int cn_print;
};

// Scalar field (eV) on a periodic grid over one cell.
struct QUORIX_CUBE {
    double*** en;
    double a[3][3];
    double a_i[3][3];
    long n[3];
};

// Run settings of a GULP input file.
struct QUORIX_GIN_CONF {
    char* filename;
    char ensemble[8];
    double temperature;
    double t_eql;
    double t_pro;
    double dt;
    double t_sample;
    double t_write;
    double sf;
};

enum fftcube_option_output { FFTCUBE_REAL = 0, FFTCUBE_IMAG = 1, FFTCUBE_MODU = 2 };

// Complex periodic grid, FFTW row-major order.
struct QUORIX_FFTCUBE {
    fftw_complex* value;
    double a[3][3];
    double a_i[3][3];
    long n[3];
};

// Energy with its first and second derivatives along the lattice directions.
struct QUORIX_FFT {
    QUORIX_FFTCUBE* en;
    QUORIX_FFTCUBE* f[3];
    QUORIX_FFTCUBE* k[3][3];
};

enum fftdot_type { FFT_UND = 0, FFT_NOR = 1, FFT_MIN = 2, FFT_SD1 = 3, FFT_SD2 = 4, FFT_MAX = 5, FFT_ERR = 6 };

struct QUORIX_FFTDOT {
    double en;
    double f[3];
    double k[3][3];
    double eig[3];
    double eiv[3][3];
    long x_i[3];
    double x[3];
    fftdot_type type;
};

struct QUORIX_FFTDOT_LIST {
    long total;
    QUORIX_FFTDOT* dot;
    double a[3][3];
    double a_i[3][3];
    long n[3];
};

enum fpdot_type { FP_UND = 0, FP_NOR = 1, FP_MIN = 2, FP_MAX = 3, FP_SAD = 4, FP_PAT = 5, FP_ERR = 6 };

// ---------------------------------------------------------------- path finding and the site graph

// One point of the path-finding grid. Neighbours are not stored: they follow from x_i and the
// grid size with periodic wrap. A neighbour position is (a * 9 + b * 3 + c) for the offset
// (a - 1, b - 1, c - 1); position 13 is the dot itself and QUORIX_FPDOT_NO_STEP marks no step.
// The compact layout keeps the grid below 100 bytes per point.
constexpr unsigned char QUORIX_FPDOT_NO_STEP = 27;

struct QUORIX_FPDOT {
    double en;
    double x[3];                  // Cartesian, angstrom
    int x_i[3];                   // grid indices
    fpdot_type type;
    signed char cluster[3][3][3]; // neighbour group labels: > 0 upward, < 0 downward, 0 for the dot
    signed char total_up;
    signed char total_dn;
    unsigned char up[8];          // neighbour position of the steepest step of each upward group
    unsigned char dn[8];          // same for the downward groups
};

// Classified grid over one cell; dot[i0][i1] is a row of n[2] dots.
struct QUORIX_FPCUBE {
    QUORIX_FPDOT*** dot;
    double a[3][3];
    double a_i[3][3];
    long n[3];
};

// Steepest-descent walk from a saddle (dot[0]) down one branch; dots belong to the grid.
struct QUORIX_FPHALF {
    long total;
    QUORIX_FPDOT** dot;
    double barrier;
};

struct QUORIX_FPHALF_LIST {
    long total;
    QUORIX_FPHALF* half;
};

struct QUORIX_GRAPH_EDGE;

// A site of the migration network: one landscape minimum.
struct QUORIX_GRAPH_VERTEX {
    char name[12];
    long x_i[3];
    double x[3];
    double occ;
    double eig[3];
    double eiv[3][3];
    double en;
    long index;
    int total_e;
    QUORIX_GRAPH_EDGE** e;  // edges leaving this vertex
    long site;
    QUORIX_GRAPH_VERTEX* sub;
    bool visited;
    QUORIX_GRAPH_VERTEX* v_b;
};

// One direction of a hop between two sites through a saddle.
struct QUORIX_GRAPH_EDGE {
    long x_i[3];
    double x[3];
    double en;
    double l;
    long index;
    QUORIX_GRAPH_VERTEX* v_i;
    QUORIX_GRAPH_VERTEX* v_f;
    QUORIX_GRAPH_EDGE* e_r;
    double barrier;
    int bound[3];    // cell boundaries crossed from v_i to v_f
    int bound_i[3];  // from v_i to the saddle
    int bound_f[3];  // from the saddle to v_f
    double dir[3];
    long index_half;
    QUORIX_GRAPH_EDGE* sub;
};

// Migration network of the conducting ion in one cell (or supercell).
struct QUORIX_GRAPH {
    long total_v;
    long total_e;
    QUORIX_GRAPH_VERTEX* v;
    QUORIX_GRAPH_EDGE* e;
    long n[3];
    double a_i[3][3];
    double a[3][3];
    double volume;
    char type[3];
    int os;
    double m;
    double c;
    double total_occ;
};
