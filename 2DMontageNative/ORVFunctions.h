// SPDX-License-Identifier: MIT
/// @file
/// `CVector<T>` and `CMatrix<T>`: owning, zero-filled buffers for whole-buffer routines that also
/// want access by row pointer.
///
/// This header is included inside each namespace that uses the templates, so it has no include
/// guard and includes nothing; the includer provides <climits>, <cstddef>, <cstring>, <memory> and
/// <new>. Elements are plain arithmetic types.

/// One-dimensional owning array of nCount > 0 elements; all bytes 0 after construction.
template <class T>
class CVector {
 public:
  int nCount;
  T* pData;

  /// Throws `std::bad_alloc` if the memory cannot be had.
  explicit CVector(int count) : nCount(count), pData(new T[static_cast<std::size_t>(count)]) {
    std::memset(pData, 0, static_cast<std::size_t>(count) * sizeof(T));
  }
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
  CMatrix(int rows, int cols) : nRows(rows), nCols(cols), ppData(nullptr) {
    Allocate();
    std::memset(ppData[0], 0, ElementCount() * sizeof(T));
  }
  virtual ~CMatrix() {
    delete[] ppData[0];
    delete[] ppData;
  }
  CMatrix(const CMatrix&) = delete;
  CMatrix& operator=(const CMatrix&) = delete;

 private:
  [[nodiscard]] std::size_t ElementCount() const {
    return static_cast<std::size_t>(nRows) * static_cast<std::size_t>(nCols);
  }

  void Allocate() {
    if (ElementCount() > static_cast<std::size_t>(INT_MAX)) {
      throw std::bad_alloc();
    }
    std::unique_ptr<T*[]> rowTable(new T*[static_cast<std::size_t>(nRows)]);
    T* const block = new T[ElementCount()];
    for (int row = 0; row < nRows; ++row) {
      rowTable[static_cast<std::size_t>(row)] = block + static_cast<std::ptrdiff_t>(row) * nCols;
    }
    ppData = rowTable.release();
  }
};
