// The periodic-image walk: every lattice translation of a cell within a box of images, for the
// pair sums over neighbouring cells.
#pragma once

// One lattice translation: n[0] a0 + n[1] a1 + n[2] a2.
struct QuorixImage {
    int n[3];
    double shift[3];  // n[0] * a[0][c] + n[1] * a[1][c] + n[2] * a[2][c], summed in that order
};

// Sets image.shift from image.n (the sum in the order stated above).
inline void quorix_image_shift(const double (*a)[3], QuorixImage& image) {
    for (int c = 0; c < 3; c++) image.shift[c] = image.n[0] * a[0][c] + image.n[1] * a[1][c] + image.n[2] * a[2][c];
}

// Calls visit(image) for |n[0]| <= box[0], |n[1]| <= box[1], |n[2]| <= box[2], in that nesting
// order (n[2] fastest). Every pair sum over images goes through here, so all of them visit the
// images in one order and compute the same translations.
template <class Visit>
inline void quorix_for_each_image(const double (*a)[3], const int box[3], Visit&& visit) {
    QuorixImage image;
    for (int l = -box[0]; l <= box[0]; l++)
        for (int m = -box[1]; m <= box[1]; m++)
            for (int p = -box[2]; p <= box[2]; p++) {
                image.n[0] = l;
                image.n[1] = m;
                image.n[2] = p;
                quorix_image_shift(a, image);
                visit(static_cast<const QuorixImage&>(image));
            }
}

// The box of the nearest images: one cell each way.
inline constexpr int kQuorixNearestImages[3] = {1, 1, 1};
