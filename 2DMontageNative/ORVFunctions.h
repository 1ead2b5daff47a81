// SPDX-License-Identifier: MIT
/// @file
/// `CVector<T>` and `CMatrix<T>`: owning, zero-filled buffers for whole-buffer routines that also
/// want access by row pointer.
///
/// This header is included inside each namespace that uses the templates. It therefore has no
/// include guard and includes nothing, because that would end up in the namespace too; the includer
/// provides <new>. Elements are plain arithmetic types.

/// One-dimensional owning array of nCount > 0 elements; all bytes 0 after construction.
template <class T>
class CVector {
 public:
  int nCount;
  T* pData;

  /// Throws `std::bad_alloc` if the memory cannot be had.
  explicit CVector(int count) : nCount(count), pData(new T[count]()) {}
  virtual ~CVector() { delete[] pData; }
  CVector(const CVector&) = delete;
  CVector& operator=(const CVector&) = delete;
};

/// Row-major owning matrix of nRows > 0 by nCols > 0 elements in one block, with a row table:
/// ppData[r] == ppData[0] + r * nCols. All bytes 0 after construction.
template <class T>
class CMatrix {
 public:
  int nRows;
  int nCols;
  T** ppData;

  /// Throws `std::bad_alloc` if the memory cannot be had or nRows * nCols exceeds an `int`.
  CMatrix(int rows, int cols) : nRows(rows), nCols(cols), ppData(nullptr) { Allocate(); }
  virtual ~CMatrix() {
    delete[] ppData[0];
    delete[] ppData;
  }
  CMatrix(const CMatrix&) = delete;
  CMatrix& operator=(const CMatrix&) = delete;

 private:
  void Allocate() {
    constexpr long long kLargestInt = 0x7fffffff;
    const long long product = static_cast<long long>(nRows) * nCols;
    if (product < 0 || product > kLargestInt) {
      throw std::bad_alloc();
    }
    T** const rowTable = new T*[nRows];
    try {
      T* const block = new T[product]();
      for (int row = 0; row < nRows; ++row) {
        rowTable[row] = block + static_cast<long long>(row) * nCols;
      }
    } catch (...) {
      delete[] rowTable;
      throw;
    }
    ppData = rowTable;
  }
};
