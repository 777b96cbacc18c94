// Matrix<T>: the library's fixed-capacity dense matrix.
//
// Up to Max_Matrix_Dimension rows and columns live inside the object. The elements
// are packed row-major with the current column count as stride: element (i, j) is
// slot i * _nc + j, so a 6 x 3 matrix occupies slots 0 ... 17. Slots at and beyond
// _n = _nr * _nc keep the value they last held; resize() rereads them with the new
// stride. A matrix never allocates, has no virtual functions and is copied by value.
//
// _eps (1e-10, set by every constructor and never changed) is the tolerance of the
// inverses and of the pivot choice of the LU factorisation.
//
// Several behaviours are kept on purpose because callers rely on them exactly as
// they are; each is marked at its member: the index guard, assignment between
// shapes, minusScalar(), the principal-diagonal products, operator== and det().
//
// The template is defined in matrix.cpp and instantiated there for unsigned int,
// unsigned long, float and double.
#ifndef FK_IK_SO_MATRIX_H
#define FK_IK_SO_MATRIX_H

#include "fk_ik_types.h"
#include "vector.h"

// Exported through the pragma rather than an attribute on the class: an attribute would
// change how GCC spells the type in the assertion reports of the members.
#pragma GCC visibility push(default)
template <typename T>
class Matrix {
 public:
  // An nr x nc matrix of zeros; both dimensions in 1 ... Max_Matrix_Dimension.
  Matrix(const UInt32& nr, const UInt32& nc);
  // A 0 x 0 matrix with every slot zero: the copy runs over the element count,
  // which is still 0, so data is read for zero elements.
  explicit Matrix(const T* data);
  explicit Matrix(T* data);
  // Copies the whole object: all slots, the shape and _eps.
  Matrix(const Matrix<T>& other) = default;

  // Sets the shape; the stored slots are neither cleared nor moved.
  Void resize(const UInt32& nr, const UInt32& nc);
  // Clears the first _n elements.
  Void setToZero();
  static Matrix<T> zero(const UInt32& nr, const UInt32& nc);
  // Square matrices only: zeros with ones on the diagonal.
  Void setToIdentity();
  static Matrix<T> identity(const UInt32& n);

  // Element-wise over this matrix's _n slots; other's shape is not checked.
  Matrix<T> operator+(const Matrix<T>& other) const;
  Matrix<T> operator-(const Matrix<T>& other) const;
  Matrix<T> elementMultiply(const Matrix<T>& other) const;

  // In place, every element / the diagonal of a square matrix.
  Void addToAll(const T& s);
  Void subtractFromAll(const T& s);
  Void addToPrincipal(const T& s);
  Void subtractFromPrincipal(const T& s);

  // Every element plus s.
  Matrix<T> plusScalar(const T& s) const;
  // Every element 0 - s, whatever this matrix holds: the subtraction applies to the
  // fresh zero result. Kept so; for the unsigned types 0 - s wraps.
  Matrix<T> minusScalar(const T& s) const;
  // Zero off the diagonal and this(i, i) + s (- s) on it: the off-diagonal elements
  // of this matrix are not carried over, by design.
  Matrix<T> plusScalarPrincipal(const T& s) const;
  Matrix<T> minusScalarPrincipal(const T& s) const;

  // Matrix product (_nc must equal other.rows()).
  Matrix<T> operator*(const Matrix<T>& other) const;
  // Product with the first _nc elements of v; v's own index check guards the reads.
  Vector<T> operator*(const Vector<T>& v) const;

  // Copies this matrix's own _nr x _nc elements from the same slots of other. The
  // target keeps its shape and _eps: assignment between shapes is deliberate.
  Matrix<T>& operator=(const Matrix<T>& other);
  // Address of slot 0 (writable storage, although the member is const).
  operator T*() const;

  // Element (i, j). The guard fails only when both indices are out of range: a
  // pair with one index in range reaches slot i * _nc + j, even beyond _n. This
  // weak guard is kept as it is.
  T& operator()(const UInt32& i, const UInt32& j);
  T operator()(const UInt32& i, const UInt32& j) const;

  // False as soon as |this[k] - other[k]| > |tol|. For the unsigned types the
  // difference wraps and is taken without an absolute value.
  Bool almostEqual(const Matrix<T>& other, Float64 tol);
  // Compares |this[k]| with other[k]: the absolute value of the left operand only,
  // kept so on purpose (a NaN on either side differs). Plain equality for the
  // unsigned types. operator!= is its exact negation.
  Bool operator==(const Matrix<T>& other) const;
  Bool operator!=(const Matrix<T>& other);

  // r (shaped _nc x _nr) receives the transpose.
  Void transpose(Matrix<T>& r);
  Matrix<T> transpose();

  // The smallest / largest element, the first one on ties, with its row and column.
  // A NaN in slot 0 is never replaced and a later NaN never taken.
  Void min(T& value, UInt32& row, UInt32& col) const;
  Void max(T& value, UInt32& row, UInt32& col) const;

  UInt32 rows() const;
  UInt32 columns() const;
  Bool isSquare() const;

  // out <- this^-1; closed forms up to order 3, LU factorisation beyond. False,
  // with out untouched, for a shape mismatch, a singular (|det| within _eps) or a
  // non-finite case. out must already be square of this matrix's order.
  Bool inv(Matrix<T>& out);
  // out <- (A^T A)^-1 A^T for this m x n matrix A, m > n (out shaped n x m); the
  // inverse when square. The inverse of A^T A is chosen by A's row count m, not by
  // its order n: for 2 x 1, 3 x 1 and 3 x 2 the closed form of order m reads the
  // n x n product as a larger block and fails. Kept so on purpose.
  Bool lpinv(Matrix<T>& out);
  // out <- A^T (A A^T)^-1 for m < n (out shaped n x m); the inverse when square.
  Bool rpinv(Matrix<T>& out);
  // Determinant; 0 when not square. From order 4 it is the product of the LU
  // pivots, whose sign the row exchanges do not flip: required as it is.
  T det();

 private:
  // dst[i * nc + j] = src[i * nc + j].
  static Void _copy(const T* src, T* dst, const UInt32& nr, const UInt32& nc);
  // src is nr x nc, dst receives its nc x nr transpose.
  static Void _transpose(const T* src, T* dst, const UInt32& nr, const UInt32& nc);
  // c (nra x ncb) = a (nra x nca) * b (nca x ncb).
  static Void _multiply(const T* a, const UInt32& nra, const UInt32& nca, const T* b,
                        const UInt32& ncb, T* c);

  // P a = l u for the n x n block a, with perm[k] the row exchanged with row k at
  // step k. No singularity test: callers judge the product of u's diagonal.
  Void _getLU(const T* a, const UInt32& n, T* l, T* u, UInt32* perm);
  // inv <- A^-1 from the factors; linv and uinv arrive cleared.
  Void _getInvLU(T* inv, const UInt32& n, T* l, T* u, T* linv, T* uinv, UInt32* perm);
  Bool _getInv_2ndOrderMatrix(const T* a, T* out);
  Bool _getInv_3rdOrderMatrix(const T* a, T* out);
  T _getDet_2ndOrderMatrix(const T* a);
  T _getDet_3rdOrderMatrix(const T* a);
  // Inverts the n x n block a into out, which is written only on success. The
  // method follows `order` (1: reciprocal, 2 and 3: closed forms, else LU of order
  // n); passAtEps says whether an LU pivot product of exactly _eps passes.
  FK_IK_SO_LOCAL Bool _getInvBlock(const T* a, const UInt32& n, const UInt32& order,
                                   const Bool& passAtEps, T* out);
  // lpinv (left) and rpinv: the inverse of the normal matrix, then the product.
  FK_IK_SO_LOCAL Bool _getPseudoInv(Matrix<T>& out, const Bool& left);

  T _data[Max_Matrix_Dimension * Max_Matrix_Dimension];
  UInt32 _n;
  UInt32 _nr;
  UInt32 _nc;
  Float64 _eps;
};
#pragma GCC visibility pop

#endif  // FK_IK_SO_MATRIX_H
