// Points, sizes, rectangles and boxes of the geometry; -9999.25 marks an unset value.
#pragma once

const double UNSET_VALUE = -9999.25;

class CPointR {
public:
  CPointR() : x(0), y(0) {}
  CPointR(double _x, double _y) : x(_x), y(_y) {}
  virtual ~CPointR() {}
  double x, y;
};

struct _C3DPoint {
  double x, y, z;
  bool operator<(const _C3DPoint& p) const {
    if (x != p.x)
      return x < p.x;
    if (y != p.y)
      return y < p.y;
    return z < p.z;
  }
};

class C3DPointR {
public:
  C3DPointR() : x(UNSET_VALUE), y(UNSET_VALUE), z(UNSET_VALUE) {}
  C3DPointR(double _x, double _y, double _z) : x(_x), y(_y), z(_z) {}
  C3DPointR(const C3DPointR& p) = default;
  C3DPointR& operator=(const C3DPointR& p) = default;
  virtual ~C3DPointR() {}
  bool operator==(const C3DPointR& p) const { return x == p.x && y == p.y && z == p.z; }
  bool operator!=(const C3DPointR& p) const { return !(*this == p); }
  bool operator<(const C3DPointR& p) const {
    if (x != p.x)
      return x < p.x;
    if (y != p.y)
      return y < p.y;
    return z < p.z;
  }
  _C3DPoint plain() const { return _C3DPoint{x, y, z}; }
  double x, y, z;
};

class C3DPointN {
public:
  C3DPointN() : x(0), y(0), z(0) {}
  C3DPointN(int _x, int _y, int _z) : x(_x), y(_y), z(_z) {}
  virtual ~C3DPointN() {}
  bool operator==(const C3DPointN& p) const { return x == p.x && y == p.y && z == p.z; }
  int x, y, z;
};

class CSizeN {
public:
  CSizeN() : cx(0), cy(0) {}
  CSizeN(int _cx, int _cy) : cx(_cx), cy(_cy) {}
  virtual ~CSizeN() {}
  int cx, cy;
};

class C3DSizeN {
public:
  C3DSizeN() : cx(0), cy(0), cz(0) {}
  C3DSizeN(int _cx, int _cy, int _cz) : cx(_cx), cy(_cy), cz(_cz) {}
  virtual ~C3DSizeN() {}
  int cx, cy, cz;
};

class CRectR {
public:
  CRectR() : x0(UNSET_VALUE), y0(UNSET_VALUE), x1(UNSET_VALUE), y1(UNSET_VALUE) {}
  CRectR(double _x0, double _y0, double _x1, double _y1) : x0(_x0), y0(_y0), x1(_x1), y1(_y1) {}
  virtual ~CRectR() {}
  bool IsEmpty() const { return x0 == UNSET_VALUE || y0 == UNSET_VALUE || x1 == UNSET_VALUE || y1 == UNSET_VALUE; }
  double x0, y0, x1, y1;
};

class CRectN {
public:
  CRectN() : x0(0), y0(0), x1(0), y1(0) {}
  CRectN(int _x0, int _y0, int _x1, int _y1) : x0(_x0), y0(_y0), x1(_x1), y1(_y1) {}
  virtual ~CRectN() {}
  int x0, y0, x1, y1;
};

class CCubeR {
public:
  CCubeR() { SetEmpty(); }
  CCubeR(double _x0, double _y0, double _z0, double _x1, double _y1, double _z1)
      : x0(_x0), y0(_y0), z0(_z0), x1(_x1), y1(_y1), z1(_z1) {}
  CCubeR(const CCubeR&) = default;
  CCubeR& operator=(const CCubeR&) = default;
  virtual ~CCubeR() {}
  void SetEmpty() { x0 = y0 = z0 = x1 = y1 = z1 = UNSET_VALUE; }
  // True as soon as one of the six bounds is unset.
  bool IsEmpty() const;
  // An empty cube collapses to p; otherwise the bounds move out to p.
  void Expand(const C3DPointR& p);
  // Keeps the overlap (touching counts); no overlap empties the cube.
  bool Intersect(const CCubeR& c);
  bool IsPointInside(const C3DPointR& p) const;
  double x0, y0, z0, x1, y1, z1;
};

class CCubeN {
public:
  CCubeN() : x0(0), y0(0), z0(0), x1(0), y1(0), z1(0) {}
  CCubeN(int _x0, int _y0, int _z0, int _x1, int _y1, int _z1) : x0(_x0), y0(_y0), z0(_z0), x1(_x1), y1(_y1), z1(_z1) {}
  virtual ~CCubeN() {}
  int x0, y0, z0, x1, y1, z1;
};
