// Allocation and release of text buffers, zero-filled arrays and the crystal structure records.
#include "quorix-alloc.hpp"

#include <cmath>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "quorix-file.hpp"

namespace {

constexpr long kTextBlock = 1024;

// Capacity in whole blocks that holds `used` characters and the terminator.
long text_capacity_for(long used) { return ((used + 1) / kTextBlock + 1) * kTextBlock; }

}  // namespace

void quorix_copy_bounded(char* dst, const char* src, unsigned long size) {
    if (!dst || size == 0) return;
    if (!src) {
        dst[0] = '\0';
        return;
    }
    std::strncpy(dst, src, size - 1);
    dst[size - 1] = '\0';
}

// ---------------------------------------------------------------- text buffer

QUORIX_TEXT* quorix_text_new(const char* initial) {
    auto* text = static_cast<QUORIX_TEXT*>(std::calloc(1, sizeof(QUORIX_TEXT)));
    if (!text) {
        std::fprintf(stderr, "Error: unable to allocate QUORIX_TEXT.\n");
        return nullptr;
    }
    text->content = static_cast<char*>(std::calloc(kTextBlock, 1));
    if (!text->content) {
        std::fprintf(stderr, "Error: unable to allocate QUORIX_TEXT->content.\n");
        std::free(text);
        return nullptr;
    }
    text->allocated = kTextBlock;
    if (quorix_text_append(text, initial)) {
        std::fprintf(stderr, "Error: quorix_text_append() returns non-zero.\n");
        return nullptr;  // the failed append has released the text
    }
    return text;
}

void quorix_text_free(QUORIX_TEXT* text) {
    if (!text) return;
    std::free(text->content);
    std::free(text);
}

int quorix_text_append(QUORIX_TEXT* text, const char* s) {
    if (!text || !s) return 0;
    if (!text->content) {
        std::fprintf(stderr, "Error: QUORIX->TEXT should not be NULL.\n");
        return 1;
    }
    const long add = static_cast<long>(std::strlen(s));
    if (text->length + add >= text->allocated) {
        const long capacity = text_capacity_for(text->length + add);
        auto* grown = static_cast<char*>(std::realloc(text->content, capacity));
        if (!grown) {
            std::fprintf(stderr, "Error: unable to reallocate QUORIX->content.\n");
            quorix_text_free(text);
            return 1;
        }
        std::memset(grown + text->allocated, 0, capacity - text->allocated);
        text->content = grown;
        text->allocated = capacity;
    }
    std::memcpy(text->content + text->length, s, add + 1);
    text->length += add;
    return 0;
}

int quorix_text_cat(QUORIX_TEXT* dst, const QUORIX_TEXT* src) {
    if (!dst || !src) {
        std::fprintf(stderr, "Error: QUORIX_TEXT has not been properly initialized.\n");
        return 1;
    }
    if (!src->content || src->length == 0) return 0;
    if (quorix_text_append(dst, src->content)) {
        std::fprintf(stderr, "Error: quorix_text_append() returns non-zero value.\n");
        return 1;
    }
    return 0;
}

int quorix_text_dump(QUORIX_TEXT* text) {
    if (!text || !text->content) {
        std::fprintf(stderr, "Error: QUORIX_TEXT has not been properly allocated.\n");
        return 1;
    }
    if (text->allocated != kTextBlock) {
        auto* shrunk = static_cast<char*>(std::realloc(text->content, kTextBlock));
        if (!shrunk) {
            std::fprintf(stderr, "Error: unable to realloc QUORIX_TEXT->content.\n");
            return 1;
        }
        text->content = shrunk;
        text->allocated = kTextBlock;
    }
    std::memset(text->content, 0, kTextBlock);
    text->length = 0;
    return 0;
}

void quorix_text_print(const QUORIX_TEXT* text) {
    if (!text) {
        std::printf("(not allocated)\n");
        return;
    }
    std::printf("%s\n", text->content ? text->content : "");
}

QUORIX_TEXT* quorix_text_import_from_file(const char* path) {
    FILE* file = nullptr;
    const QuorixOpen opened = quorix_file_open_input(path, &file);
    if (opened != QuorixOpen::ok) {
        if (opened == QuorixOpen::failed) std::fprintf(stderr, "Error: unable to open %s\n", path ? path : "(null)");
        return nullptr;
    }
    auto* text = static_cast<QUORIX_TEXT*>(std::calloc(1, sizeof(QUORIX_TEXT)));
    if (!text) {
        std::fprintf(stderr, "Error: unable to allocate QUORIX_TEXT.\n");
        std::fclose(file);
        return nullptr;
    }
    long size = -1;
    if (std::fseek(file, 0, SEEK_END) == 0) size = std::ftell(file);
    std::rewind(file);
    if (size < 0) size = 0;  // no size: treated as unreadable below
    text->length = size;
    text->allocated = text_capacity_for(size);
    text->content = static_cast<char*>(std::calloc(text->allocated, 1));
    if (!text->content) {
        std::fprintf(stderr, "Error: unable to allocate buffer for cif.\n");
        std::free(text);
        std::fclose(file);
        return nullptr;
    }
    const bool complete = size > 0 && std::fread(text->content, size, 1, file) == 1;
    std::fclose(file);
    if (!complete) {
        std::fprintf(stderr, "Error: failed to read content of %s\n", path);
        quorix_text_free(text);
        return nullptr;
    }
    return text;
}

int quorix_text_export_to_file(const QUORIX_TEXT* text, const char* path) {
    if (!text || !text->content) {
        std::fprintf(stderr, "Error: QUORIX_TEXT has not been properly allocated.\n");
        return 1;
    }
    QuorixResultFile file;
    const QuorixOpen opened = file.open(path);
    if (opened != QuorixOpen::ok) {
        if (opened == QuorixOpen::failed) std::fprintf(stderr, "Error: unable to open %s.\n", path ? path : "(null)");
        return 1;
    }
    std::fwrite(text->content, 1, std::strlen(text->content), file.get());
    return file.commit() ? 0 : 1;
}

// Logs grow step by step, so they are appended to in place.
int quorix_text_append_to_file(const QUORIX_TEXT* text, const char* path) {
    if (!text || !text->content) {
        std::fprintf(stderr, "Error: QUORIX_TEXT has not been properly allocated.\n");
        return 1;
    }
    FILE* file = path ? std::fopen(path, "ab") : nullptr;
    if (!file) {
        std::fprintf(stderr, "Error: unable to open %s.\n", path ? path : "(null)");
        return 1;
    }
    const size_t length = std::strlen(text->content);
    const bool written = std::fwrite(text->content, 1, length, file) == length;
    const bool closed = std::fclose(file) == 0;
    return written && closed ? 0 : 1;
}

int quorix_text_segregate_into_rows(char*** rows, long* count, const QUORIX_TEXT* text, char delimiter) {
    if (!rows || !count || !text || !text->content) {
        std::fprintf(stderr, "Error: QUORIX_TEXT has not been properly initialized.\n");
        return 1;
    }
    const char* s = text->content;
    const long length = text->length;
    long total = 0;
    for (long i = 0; i <= length; i++)
        if (s[i] == delimiter || s[i] == '\0') total++;
    std::printf("Message: total lines in the cif: %ld\n", total);
    auto** out = static_cast<char**>(std::calloc(total, sizeof(char*)));
    if (!out) {
        std::fprintf(stderr, "Error: unable to allocate content.\n");
        return 1;
    }
    long row = 0;
    long start = 0;
    for (long i = 0; i <= length && row < total; i++) {
        if (s[i] != delimiter && s[i] != '\0') continue;
        const long size = i - start + 1;
        out[row] = size <= 0x7fffffff ? quorix_array_char_1D_new(static_cast<int>(size)) : nullptr;
        if (!out[row]) {
            std::fprintf(stderr, "Error: quorix_array_char_1D_new() returns NULL.\n");
            quorix_array_char_2D_free(out, static_cast<int>(row));
            return 1;
        }
        std::memcpy(out[row], s + start, size - 1);
        row++;
        start = i + 1;
    }
    *rows = out;
    *count = total;
    return 0;
}

// ---------------------------------------------------------------- arrays

namespace {

template <class T>
T* array_1D_new(int count) {
    if (count < 1) return nullptr;
    return static_cast<T*>(std::calloc(count, sizeof(T)));
}

template <class T>
void array_2D_free(T** p, int count1) {
    if (!p) return;
    for (int i = 0; i < count1; i++) std::free(p[i]);
    std::free(p);
}

template <class T>
T** array_2D_new(int count1, int count2) {
    if (count1 < 1 || count2 < 1) return nullptr;
    auto** p = static_cast<T**>(std::calloc(count1, sizeof(T*)));
    if (!p) return nullptr;
    for (int i = 0; i < count1; i++) {
        p[i] = array_1D_new<T>(count2);
        if (!p[i]) {
            array_2D_free(p, i);
            return nullptr;
        }
    }
    return p;
}

template <class T>
void array_3D_free(T*** p, int count1, int count2) {
    if (!p) return;
    for (int i = 0; i < count1; i++) array_2D_free(p[i], count2);
    std::free(p);
}

template <class T>
T*** array_3D_new(int count1, int count2, int count3) {
    if (count1 < 1 || count2 < 1 || count3 < 1) return nullptr;
    auto*** p = static_cast<T***>(std::calloc(count1, sizeof(T**)));
    if (!p) return nullptr;
    for (int i = 0; i < count1; i++) {
        p[i] = array_2D_new<T>(count2, count3);
        if (!p[i]) {
            array_3D_free(p, i, count2);
            return nullptr;
        }
    }
    return p;
}

template <class P>
P report_1D(P p) {
    if (!p) std::fprintf(stderr, "Error: unable to allocate QUORIX_ARRAY_1D.\n");
    return p;
}
template <class P>
P report_2D(P p) {
    if (!p) std::fprintf(stderr, "Error: unable to allocate QUORIX_ARRAY_2D.\n");
    return p;
}
template <class P>
P report_3D(P p) {
    if (!p) std::fprintf(stderr, "Error: unable to allocate QUORIX_ARRAY_3D.\n");
    return p;
}

}  // namespace

int* quorix_array_int_1D_new(int count) { return report_1D(array_1D_new<int>(count)); }
void quorix_array_int_1D_free(int* p) { std::free(p); }
int** quorix_array_int_2D_new(int count1, int count2) { return report_2D(array_2D_new<int>(count1, count2)); }
void quorix_array_int_2D_free(int** p, int count1) { array_2D_free(p, count1); }
int*** quorix_array_int_3D_new(int count1, int count2, int count3) {
    return report_3D(array_3D_new<int>(count1, count2, count3));
}
void quorix_array_int_3D_free(int*** p, int count1, int count2) { array_3D_free(p, count1, count2); }

double* quorix_array_double_1D_new(int count) { return report_1D(array_1D_new<double>(count)); }
void quorix_array_double_1D_free(double* p) { std::free(p); }
void quorix_array_double_1D_print(const double* p, int count) {
    if (!p) {
        std::printf("(not allocated)\n");
        return;
    }
    for (int i = 0; i < count; i++) std::printf(" %5.3f", p[i]);
    std::printf("\n");
}
double** quorix_array_double_2D_new(int count1, int count2) {
    return report_2D(array_2D_new<double>(count1, count2));
}
void quorix_array_double_2D_free(double** p, int count1) { array_2D_free(p, count1); }
void quorix_array_double_2D_print(double* const* p, int count1, int count2) {
    if (!p) {
        std::printf("(not allocated)\n");
        return;
    }
    for (int i = 0; i < count1; i++) quorix_array_double_1D_print(p[i], count2);
}
double*** quorix_array_double_3D_new(int count1, int count2, int count3) {
    return report_3D(array_3D_new<double>(count1, count2, count3));
}
void quorix_array_double_3D_free(double*** p, int count1, int count2) { array_3D_free(p, count1, count2); }

char* quorix_array_char_1D_new(int count) { return report_1D(array_1D_new<char>(count)); }
void quorix_array_char_1D_free(char* p) { std::free(p); }
void quorix_array_char_1D_print(const char* p) {
    if (!p) {
        std::printf("(not allocated)\n");
        return;
    }
    std::printf("%s\n", p);
}
char** quorix_array_char_2D_new(int count1, int count2) { return report_2D(array_2D_new<char>(count1, count2)); }
void quorix_array_char_2D_free(char** p, int count1) { array_2D_free(p, count1); }
void quorix_array_char_2D_print(char* const* p, int count1) {
    if (!p) {
        std::printf("(not allocated)\n");
        return;
    }
    for (int i = 0; i < count1; i++) quorix_array_char_1D_print(p[i]);
}
char*** quorix_array_char_3D_new(int count1, int count2, int count3) {
    return report_3D(array_3D_new<char>(count1, count2, count3));
}
void quorix_array_char_3D_free(char*** p, int count1, int count2) { array_3D_free(p, count1, count2); }
void quorix_array_char_3D_print(char** const* p, int count1, int count2) {
    if (!p) {
        std::printf("(not allocated)\n");
        return;
    }
    for (int i = 0; i < count1; i++) {
        if (!p[i]) {
            std::printf("(not allocated)");
        } else {
            for (int j = 0; j < count2; j++) std::printf("|%s|", p[i][j] ? p[i][j] : "(not allocated)");
        }
        std::printf("\n");
    }
}

// ---------------------------------------------------------------- structure records

QUORIX_ATOM* quorix_atom_new(long count) {
    if (count <= 0) {
        std::fprintf(stderr, "Error: number of atoms must be positive.\n");
        return nullptr;
    }
    auto* atom = static_cast<QUORIX_ATOM*>(std::calloc(count, sizeof(QUORIX_ATOM)));
    if (!atom) std::fprintf(stderr, "Error: unable to allocate QUORIX_ATOM.\n");
    return atom;
}

void quorix_atom_free(QUORIX_ATOM* atom) { std::free(atom); }

void quorix_atom_print(const QUORIX_ATOM* atom) {
    if (!atom) {
        std::printf("ATOM: (not allocated)\n");
        return;
    }
    std::printf("ATOM: name=%6s;type=%2s;os=%2d;x_f=(%5.3f,%5.3f,%5.3f);occ=%5.3f\n", atom->name, atom->type,
                atom->os, atom->x_f[0], atom->x_f[1], atom->x_f[2], atom->occ);
}

namespace {

// A zeroed record holding a zeroed array of `count` items (none when count <= 0), with its
// count set; each failed allocation prints its own message.
template <class Record, class Item, class Count>
Record* new_record_with_array(long count, Item* Record::*array, Count Record::*total, const char* record_error,
                              const char* array_error) {
    auto* record = static_cast<Record*>(std::calloc(1, sizeof(Record)));
    if (!record) {
        std::fprintf(stderr, "%s", record_error);
        return nullptr;
    }
    if (count <= 0) return record;
    record->*array = static_cast<Item*>(std::calloc(count, sizeof(Item)));
    if (!(record->*array)) {
        std::fprintf(stderr, "%s", array_error);
        std::free(record);
        return nullptr;
    }
    record->*total = static_cast<Count>(count);
    return record;
}

}  // namespace

QUORIX_CELL* quorix_cell_new(long count) {
    return new_record_with_array(count, &QUORIX_CELL::atom, &QUORIX_CELL::total,
                                 "Error: unable to allocate QUORIX_CELL.\n",
                                 "Error: unable to allocate QUORIX_CELL->QUORIX_ATOM.\n");
}

void quorix_cell_free(QUORIX_CELL* cell) {
    if (!cell) return;
    std::free(cell->atom);
    std::free(cell);
}

int quorix_cell_replace_atoms(QUORIX_CELL* cell, const QUORIX_ATOM* atoms, long count) {
    QUORIX_ATOM* copy = quorix_atom_new(count);
    if (!copy) {
        std::fprintf(stderr, "Error: quorix_atom_new() returns NULL.\n");
        return 1;
    }
    std::copy(atoms, atoms + count, copy);
    quorix_atom_free(cell->atom);
    cell->atom = copy;
    cell->total = count;
    return 0;
}

QUORIX_CELL* quorix_cell_copy(const QUORIX_CELL* cell) {
    if (!cell) return nullptr;
    QUORIX_CELL* copy = quorix_cell_new(0);
    if (!copy) {
        std::fprintf(stderr, "Error: quorix_cell_new() returns NULL.\n");
        return nullptr;
    }
    *copy = *cell;
    copy->atom = quorix_atom_new(cell->total);
    if (!copy->atom) {
        std::fprintf(stderr, "Error: quorix_atom_new() returns NULL.\n");
        copy->total = 0;
        quorix_cell_free(copy);
        return nullptr;
    }
    std::memcpy(copy->atom, cell->atom, sizeof(QUORIX_ATOM) * cell->total);
    return copy;
}

void quorix_cell_print(const QUORIX_CELL* cell) {
    if (!cell) {
        std::printf("CELL: (not allocated)\n");
        return;
    }
    std::printf("CELL: name: %s\n", cell->name);
    std::printf("CELL: vector matrix:\n");
    for (const auto& row : cell->a) {
        std::printf("CELL:            ");
        for (double v : row) std::printf(" %11.6f", v);
        std::printf("\n");
    }
    std::printf("CELL: parameters: %11.6f %11.6f %11.6f\n", cell->parameter[0], cell->parameter[1],
                cell->parameter[2]);
    std::printf("CELL: angles:     %11.6f %11.6f %11.6f\n", cell->angle[0], cell->angle[1], cell->angle[2]);
    std::printf("CELL: total atom: %ld\n", cell->total);
    for (long i = 0; i < cell->total && cell->atom; i++) {
        std::printf("CELL: [%3d]", static_cast<int>(i));
        quorix_atom_print(&cell->atom[i]);
    }
}

QUORIX_CARD* quorix_card_new(const char* text) {
    auto* card = static_cast<QUORIX_CARD*>(std::calloc(1, sizeof(QUORIX_CARD)));
    if (!card) {
        std::fprintf(stderr, "Error: unable to allocate CARD.\n");
        return nullptr;
    }
    if (text) quorix_copy_bounded(card->text, text, sizeof(card->text));
    return card;
}

void quorix_card_free(QUORIX_CARD* card) { std::free(card); }

void quorix_card_print(const QUORIX_CARD* card) {
    if (!card) {
        std::printf("CARD: (not allocated)\n");
        return;
    }
    std::printf("CARD: text:%s\n", card->text);
    for (int i = 0; i < 3; i++) {
        std::printf("CARD: ");
        for (int j = 0; j < 3; j++) std::printf(" %6.3f", card->r_f[i][j]);
        std::printf("      %6.3f\n", card->t_f[i]);
    }
}

void quorix_card_print_discrete(const QUORIX_CARD* card) {
    if (!card) {
        std::printf("CARD: (not allocated)\n");
        return;
    }
    std::printf("CARD: text:%s\n", card->text);
    for (int i = 0; i < 3; i++) {
        std::printf("CARD: ");
        for (int j = 0; j < 3; j++) std::printf(" %2d", card->r_i[i][j]);
        std::printf("      %ld\n", card->t_i[i]);
    }
}

QUORIX_SYMMETRY* quorix_symmetry_new(int count) {
    return new_record_with_array(count, &QUORIX_SYMMETRY::card, &QUORIX_SYMMETRY::total,
                                 "Error: unable to allocate QUORIX_SYMMETRY.\n",
                                 "Error: unable to allocate QUORIX_SYMMETRY->QUORIX_CARD.\n");
}

void quorix_symmetry_free(QUORIX_SYMMETRY* symmetry) {
    if (!symmetry) return;
    std::free(symmetry->card);
    std::free(symmetry);
}

namespace {

void symmetry_print_with(const QUORIX_SYMMETRY* symmetry, void (*print_card)(const QUORIX_CARD*)) {
    if (!symmetry || !symmetry->card || symmetry->total < 1) {
        std::printf("SYMMETRY: (not allocated)\n");
        return;
    }
    std::printf("SYMMETRY: Hermann-Maugui group symbol: %s\n", symmetry->sg_HM);
    std::printf("SYMMETRY: Hall group symbol: %s\n", symmetry->sg_Hall);
    std::printf("SYMMETRY: International Table ID: %d\n", symmetry->sg_id);
    std::printf("SYMMETRY: Total number of cards: %d\n", symmetry->total);
    for (int i = 0; i < symmetry->total; i++) print_card(&symmetry->card[i]);
}

}  // namespace

void quorix_symmetry_print(const QUORIX_SYMMETRY* symmetry) { symmetry_print_with(symmetry, quorix_card_print); }

void quorix_symmetry_print_discrete(const QUORIX_SYMMETRY* symmetry) {
    symmetry_print_with(symmetry, quorix_card_print_discrete);
}

QUORIX_SYMMETRY* quorix_symmetry_new_p1() {
    QUORIX_SYMMETRY* symmetry = quorix_symmetry_new(1);
    if (!symmetry) {
        std::fprintf(stderr, "Error: quorix_symmetry_new() returns NULL.\n");
        return nullptr;
    }
    quorix_copy_bounded(symmetry->sg_HM, "P 1", sizeof(symmetry->sg_HM));
    quorix_copy_bounded(symmetry->sg_Hall, "P 1", sizeof(symmetry->sg_Hall));
    symmetry->sg_id = 1;
    QUORIX_CARD& card = symmetry->card[0];
    quorix_copy_bounded(card.text, "x, y, z", sizeof(card.text));
    for (int i = 0; i < 3; i++) card.r_f[i][i] = 1.0;
    return symmetry;
}

// Returns 0 as soon as any entry lies within 0.001 of the identity; only a card that
// differs from the identity in every entry gives 1.
int quorix_symmetry_is_p1(const QUORIX_SYMMETRY* symmetry) {
    if (!symmetry || symmetry->total != 1 || !symmetry->card) return 0;
    const QUORIX_CARD& card = symmetry->card[0];
    for (int i = 0; i < 3; i++) {
        if (std::fabs(card.t_f[i]) < 0.001) return 0;
        for (int j = 0; j < 3; j++) {
            const double identity = i == j ? 1.0 : 0.0;
            if (std::fabs(card.r_f[i][j] - identity) < 0.001) return 0;
        }
    }
    return 1;
}
