// General matrices of doubles: the few operations that predictors and their users need.
//
// Elements are stored column by column: element (r, c) is data[c * rows + r]. Functions return
// null when they cannot do their work (sizes that do not fit, no memory, a singular matrix); then
// their destination is unchanged. A destination must not be one of the operands.
#pragma once

#include <cstddef>

#include "remora_export.h"

struct Gan_Matrix {
  unsigned long rows;
  unsigned long cols;
  double* data;
  std::size_t data_size;  // doubles allocated at `data`, at least rows * cols
  bool struct_alloc;      // the structure itself came from the library (gan_mat_free deletes it)
  bool data_alloc;        // `data` came from the library (gan_mat_free deletes it)
};

// Makes `a` a rows x cols matrix of zeros. With `a` null a new structure is allocated. With `data`
// not null, the caller's array of `data_size` doubles is used as it stands instead of a new one;
// it stays the caller's. An earlier content of `a` is not released.
REMORA_EXPORT Gan_Matrix* gan_mat_form_gen(Gan_Matrix* a, unsigned long rows, unsigned long cols,
                                           double* data, std::size_t data_size);

// Releases what the library allocated for `a`: its data, and the structure where it is ours.
// A structure of the caller's is left as an empty 0 x 0 matrix.
REMORA_EXPORT void gan_mat_free(Gan_Matrix* a);

// destination = source. The destination is a formed matrix and takes the source's size.
REMORA_EXPORT Gan_Matrix* gan_mat_copy_q(const Gan_Matrix* source, Gan_Matrix* destination);

// Sets every element to `value`.
REMORA_EXPORT Gan_Matrix* gan_mat_fill_const_q(Gan_Matrix* a, double value);

// a + b and a - b, each operand transposed on request. The result goes into `destination`, a formed
// matrix that takes its size, or into a new matrix that the caller frees when `destination` is
// null.
REMORA_EXPORT Gan_Matrix* gan_mat_add_gen(const Gan_Matrix* a, bool transpose_a,
                                          const Gan_Matrix* b, bool transpose_b,
                                          Gan_Matrix* destination);
REMORA_EXPORT Gan_Matrix* gan_mat_sub_gen(const Gan_Matrix* a, bool transpose_a,
                                          const Gan_Matrix* b, bool transpose_b,
                                          Gan_Matrix* destination);

// a * b, in the same way.
REMORA_EXPORT Gan_Matrix* gan_mat_rmult_gen(const Gan_Matrix* a, bool transpose_a,
                                            const Gan_Matrix* b, bool transpose_b,
                                            Gan_Matrix* destination);

// inverse = the inverse of the square matrix `a` (LU with partial pivoting; Golub and Van Loan,
// Matrix Computations, 3.4). `inverse` is a formed matrix and takes the size of `a`. Null when the
// matrix is singular to working precision.
REMORA_EXPORT Gan_Matrix* gan_mat_invert_q(const Gan_Matrix* a, Gan_Matrix* inverse);
