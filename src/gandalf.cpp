#include "gandalf.h"

#include <Eigen/LU>
#include <limits>
#include <memory>
#include <new>

#include "internal/fixed_blocks.h"

namespace {

using Eigen::Index;
using Eigen::MatrixXd;

Eigen::Map<const MatrixXd> view(const Gan_Matrix* a) {
  return {a->data, static_cast<Index>(a->rows), static_cast<Index>(a->cols)};
}

Eigen::Map<MatrixXd> view(Gan_Matrix* a) {
  return {a->data, static_cast<Index>(a->rows), static_cast<Index>(a->cols)};
}

MatrixXd operand(const Gan_Matrix* a, bool transpose) {
  return transpose ? MatrixXd(view(a).transpose()) : MatrixXd(view(a));
}

bool sameSize(const MatrixXd& a, const MatrixXd& b) {
  return a.rows() == b.rows() && a.cols() == b.cols();
}

bool grow(Gan_Matrix* a, std::size_t size) {
  if (a->data_size >= size) return true;
  double* const grown = new (std::nothrow) double[size];
  if (grown == nullptr) return false;
  if (a->data_alloc) delete[] a->data;
  a->data = grown;
  a->data_size = size;
  a->data_alloc = true;
  return true;
}

// Stores a result; null when there is no memory for it.
Gan_Matrix* store(const MatrixXd& values, Gan_Matrix* destination) {
  const auto rows = static_cast<unsigned long>(values.rows());
  const auto cols = static_cast<unsigned long>(values.cols());
  if (destination == nullptr) {
    destination = gan_mat_form_gen(nullptr, rows, cols, nullptr, 0);
    if (destination == nullptr) return nullptr;
  } else if (!grow(destination, rows * cols)) {
    return nullptr;
  }
  destination->rows = rows;
  destination->cols = cols;
  view(destination) = values;
  return destination;
}

template <class Compute>
Gan_Matrix* nullWithoutMemory(const Compute& compute) {
  try {
    return compute();
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

template <class Operation>
Gan_Matrix* combine(const Gan_Matrix* a, bool transpose_a, const Gan_Matrix* b, bool transpose_b,
                    const Operation& operation) {
  return nullWithoutMemory(
      [&] { return operation(operand(a, transpose_a), operand(b, transpose_b)); });
}

}  // namespace

Gan_Matrix* gan_mat_form_gen(Gan_Matrix* a, unsigned long rows, unsigned long cols, double* data,
                             std::size_t data_size) {
  constexpr std::size_t kMost = std::numeric_limits<std::size_t>::max() / sizeof(double) / 2;
  if (rows > kMost || cols > kMost || (cols != 0 && rows > kMost / cols)) return nullptr;
  const std::size_t size = rows * cols;
  const bool allocate = data == nullptr;
  if (!allocate && data_size < size) return nullptr;

  std::unique_ptr<double[]> own_data(allocate ? new (std::nothrow) double[size]() : nullptr);
  std::unique_ptr<Gan_Matrix> own_struct(a == nullptr ? new (std::nothrow) Gan_Matrix : nullptr);
  if ((allocate && !own_data) || (a == nullptr && !own_struct)) return nullptr;
  Gan_Matrix* const formed = a == nullptr ? own_struct.release() : a;
  formed->rows = rows;
  formed->cols = cols;
  formed->data = allocate ? own_data.release() : data;
  formed->data_size = allocate ? size : data_size;
  formed->struct_alloc = a == nullptr;
  formed->data_alloc = allocate;
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
  return nullWithoutMemory([&] { return store(view(source), destination); });
}

Gan_Matrix* gan_mat_fill_const_q(Gan_Matrix* a, double value) {
  view(a).setConstant(value);
  return a;
}

Gan_Matrix* gan_mat_add_gen(const Gan_Matrix* a, bool transpose_a, const Gan_Matrix* b,
                            bool transpose_b, Gan_Matrix* destination) {
  return combine(a, transpose_a, b, transpose_b, [&](const MatrixXd& left, const MatrixXd& right) {
    return sameSize(left, right) ? store(left + right, destination) : nullptr;
  });
}

Gan_Matrix* gan_mat_sub_gen(const Gan_Matrix* a, bool transpose_a, const Gan_Matrix* b,
                            bool transpose_b, Gan_Matrix* destination) {
  return combine(a, transpose_a, b, transpose_b, [&](const MatrixXd& left, const MatrixXd& right) {
    return sameSize(left, right) ? store(left - right, destination) : nullptr;
  });
}

Gan_Matrix* gan_mat_rmult_gen(const Gan_Matrix* a, bool transpose_a, const Gan_Matrix* b,
                              bool transpose_b, Gan_Matrix* destination) {
  remora::internal::fixBlocks();
  return combine(a, transpose_a, b, transpose_b, [&](const MatrixXd& left, const MatrixXd& right) {
    return left.cols() == right.rows() ? store(left * right, destination) : nullptr;
  });
}

Gan_Matrix* gan_mat_invert_q(const Gan_Matrix* a, Gan_Matrix* inverse) {
  if (a->rows != a->cols || a->rows == 0) return nullptr;
  remora::internal::fixBlocks();
  return nullWithoutMemory([&]() -> Gan_Matrix* {
    const Eigen::PartialPivLU<MatrixXd> lu(view(a));
    if (!(lu.rcond() > std::numeric_limits<double>::epsilon())) return nullptr;
    const MatrixXd found = lu.inverse();
    return found.allFinite() ? store(found, inverse) : nullptr;
  });
}
