#include "gandalf.h"

#include <Eigen/LU>
#include <algorithm>
#include <memory>

namespace {

using Eigen::Index;
using ConstView = Eigen::Map<const Eigen::MatrixXd>;
using View = Eigen::Map<Eigen::MatrixXd>;

ConstView view(const Gan_Matrix* a) {
  return {a->data, static_cast<Index>(a->rows), static_cast<Index>(a->cols)};
}

View view(Gan_Matrix* a) {
  return {a->data, static_cast<Index>(a->rows), static_cast<Index>(a->cols)};
}

bool sameSize(const Gan_Matrix* a, const Gan_Matrix* b) {
  return a->rows == b->rows && a->cols == b->cols;
}

Gan_Matrix* newMatrix(const Eigen::MatrixXd& values) {
  Gan_Matrix* const result =
      gan_mat_form_gen(nullptr, static_cast<unsigned long>(values.rows()),
                       static_cast<unsigned long>(values.cols()), nullptr, 0);
  view(result) = values;
  return result;
}

void assign(Gan_Matrix* destination, const Eigen::MatrixXd& values) {
  const auto size = static_cast<std::size_t>(values.size());
  if (destination->data_size < size) {
    auto grown = std::make_unique<double[]>(size);
    if (destination->data_alloc) delete[] destination->data;
    destination->data = grown.release();
    destination->data_size = size;
    destination->data_alloc = true;
  }
  destination->rows = static_cast<unsigned long>(values.rows());
  destination->cols = static_cast<unsigned long>(values.cols());
  view(destination) = values;
}

}  // namespace

Gan_Matrix* gan_mat_form_gen(Gan_Matrix* a, unsigned long rows, unsigned long cols, double* data,
                             std::size_t data_size) {
  const std::size_t size = std::size_t{rows} * cols;
  if (cols != 0 && size / cols != rows) return nullptr;
  if (data != nullptr && data_size < size) return nullptr;
  auto own_data = data == nullptr ? std::make_unique<double[]>(size) : nullptr;
  auto own_struct = a == nullptr ? std::make_unique<Gan_Matrix>() : nullptr;
  Gan_Matrix* const formed = a == nullptr ? own_struct.release() : a;
  const bool allocate = data == nullptr;
  *formed = {rows, cols, allocate ? own_data.release() : data, allocate ? size : data_size,
             a == nullptr, allocate};
  return formed;
}

void gan_mat_free(Gan_Matrix* a) {
  if (a == nullptr) return;
  if (a->data_alloc) delete[] a->data;
  if (a->struct_alloc) {
    delete a;
  } else {
    *a = {0, 0, nullptr, 0, false, false};
  }
}

Gan_Matrix* gan_mat_copy_q(const Gan_Matrix* source, Gan_Matrix* destination) {
  assign(destination, view(source));
  return destination;
}

Gan_Matrix* gan_mat_fill_const_q(Gan_Matrix* a, double value) {
  view(a).setConstant(value);
  return a;
}

Gan_Matrix* gan_mat_add_gen(const Gan_Matrix* a, const Gan_Matrix* b) {
  return sameSize(a, b) ? newMatrix(view(a) + view(b)) : nullptr;
}

Gan_Matrix* gan_mat_sub_gen(const Gan_Matrix* a, const Gan_Matrix* b) {
  return sameSize(a, b) ? newMatrix(view(a) - view(b)) : nullptr;
}

Gan_Matrix* gan_mat_rmult_gen(const Gan_Matrix* a, const Gan_Matrix* b, bool transpose_b) {
  const unsigned long inner = transpose_b ? b->cols : b->rows;
  if (a->cols != inner) return nullptr;
  return transpose_b ? newMatrix(view(a) * view(b).transpose()) : newMatrix(view(a) * view(b));
}

Gan_Matrix* gan_mat_invert_q(const Gan_Matrix* a, Gan_Matrix* inverse) {
  if (a->rows != a->cols || a->rows == 0) return nullptr;
  const Eigen::MatrixXd result = view(a).partialPivLu().inverse();
  if (!result.allFinite()) return nullptr;
  assign(inverse, result);
  return inverse;
}
