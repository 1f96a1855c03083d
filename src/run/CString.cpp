#include "CString.h"

#include <cassert>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

static const unsigned long INLINE_CAP = 255;

CString::CString() : m_nStrSize(0), m_nAllocSize(INLINE_CAP), m_lpszBuf(m_szInline) { m_szInline[0] = 0; }

CString::CString(const CString& s) : CString() { Assign(s.m_lpszBuf, s.m_nStrSize); }

CString::CString(const char* psz) : CString() {
  if (psz)
    Assign(psz, strlen(psz));
}

CString::CString(int, const char* fmt, ...) : CString() {
  va_list args;
  va_start(args, fmt);
  FormatV(fmt, args, false);
  va_end(args);
}

CString::~CString() {
  if (m_lpszBuf != m_szInline)
    free(m_lpszBuf);
}

char* CString::Reserve(unsigned long n) {
  if (n > m_nAllocSize) {
    if (n > INLINE_CAP) {
      unsigned long cap = 2 * n + 1;
      char* p;
      if (m_lpszBuf == m_szInline) {
        p = (char*)malloc(cap + 1);
        if (p)
          memcpy(p, m_szInline, m_nStrSize + 1);
      } else {
        p = (char*)realloc(m_lpszBuf, cap + 1);
      }
      if (!p) {
        fprintf(stderr, "CString: Allocation Error!\n");
        throw std::bad_alloc();
      }
      m_lpszBuf = p;
      m_nAllocSize = cap;
    } else {
      m_nAllocSize = INLINE_CAP;
    }
  }
  if (n == 0) {
    m_nStrSize = 0;
    m_lpszBuf[0] = 0;
  } else if (n <= m_nStrSize) {
    m_nStrSize = n - 1;
    m_lpszBuf[m_nStrSize] = 0;
  }
  return m_lpszBuf;
}

void CString::Assign(const char* psz, unsigned long n) {
  if (psz >= m_lpszBuf && psz <= m_lpszBuf + m_nStrSize) {
    // Self-assignment from a part of our own text.
    std::vector<char> tmp(psz, psz + n);
    tmp.push_back(0);
    Assign(tmp.data(), n);
    return;
  }
  if (n + 1 > m_nAllocSize)
    Reserve(n + 1);
  memcpy(m_lpszBuf, psz, n);
  m_nStrSize = n;
  m_lpszBuf[n] = 0;
}

void CString::Append(const char* psz, unsigned long n) {
  if (n == 0)
    return;
  if (psz >= m_lpszBuf && psz <= m_lpszBuf + m_nAllocSize) {
    std::vector<char> tmp(psz, psz + n);
    Append(tmp.data(), n);
    return;
  }
  if (m_nStrSize + n + 1 > m_nAllocSize)
    Reserve(m_nStrSize + n + 1);
  memcpy(m_lpszBuf + m_nStrSize, psz, n);
  m_nStrSize += n;
  m_lpszBuf[m_nStrSize] = 0;
}

CString& CString::operator=(const CString& s) {
  if (this != &s)
    Assign(s.m_lpszBuf, s.m_nStrSize);
  return *this;
}

CString& CString::operator=(const char* psz) {
  Assign(psz ? psz : "", psz ? strlen(psz) : 0);
  return *this;
}

CString CString::operator+(const CString& s) const {
  CString r(*this);
  r += s;
  return r;
}

CString& CString::operator+=(const CString& s) {
  Append(s.m_lpszBuf, s.m_nStrSize);
  return *this;
}

CString& CString::operator+=(const char* psz) {
  if (psz)
    Append(psz, strlen(psz));
  return *this;
}

CString& CString::operator+=(char c) {
  Append(&c, 1);
  return *this;
}

bool CString::operator==(const char* psz) const {
  if (!psz)
    return m_nStrSize == 0;
  unsigned long n = strlen(psz);
  return n == m_nStrSize && memcmp(m_lpszBuf, psz, n) == 0;
}

bool CString::operator==(const CString& s) const {
  return s.m_nStrSize == m_nStrSize && memcmp(m_lpszBuf, s.m_lpszBuf, m_nStrSize) == 0;
}

char CString::GetAt(unsigned long n) const {
  assert(n <= m_nStrSize);
  return m_lpszBuf[n];
}

void CString::SetAt(unsigned long n, char c) {
  assert(n < m_nStrSize);
  m_lpszBuf[n] = c;
}

int CString::Find(char c) const {
  for (unsigned long i = 0; i < m_nStrSize; i++)
    if (m_lpszBuf[i] == c)
      return (int)i;
  return -1;
}

int CString::ReverseFind(char c) const {
  for (long i = (long)m_nStrSize - 1; i >= 0; i--)
    if (m_lpszBuf[i] == c)
      return (int)i;
  return -1;
}

CString CString::Left(long n) const {
  if (n < 0)
    n = 0;
  if ((unsigned long)n >= m_nStrSize)
    return *this;
  CString r;
  r.Assign(m_lpszBuf, n);
  return r;
}

CString CString::Right(long n) const {
  if (n < 0)
    n = 0;
  if ((unsigned long)n >= m_nStrSize)
    return *this;
  CString r;
  r.Assign(m_lpszBuf + m_nStrSize - n, n);
  return r;
}

CString CString::Mid(long start, long n) const {
  CString r;
  if (start < 0)
    start = 0;
  if ((unsigned long)start >= m_nStrSize || n <= 0)
    return r;
  unsigned long len = (unsigned long)n;
  if (start + len > m_nStrSize)
    len = m_nStrSize - start;
  r.Assign(m_lpszBuf + start, len);
  return r;
}

int CString::FormatV(const char* fmt, va_list args, bool bAppend) {
  unsigned long trial = strlen(fmt) + 100;
  unsigned long base = bAppend ? m_nStrSize : 0;
  std::vector<char> tmp;
  for (;;) {
    va_list ap;
    va_copy(ap, args);
    tmp.resize(trial + 1);
    int n = vsnprintf(tmp.data(), trial + 1, fmt, ap);
    va_end(ap);
    if (n < 0)
      return n;
    if ((unsigned long)n <= trial) {
      if (!bAppend)
        m_nStrSize = 0;
      Reserve(base + n + 1);
      memcpy(m_lpszBuf + base, tmp.data(), n);
      m_nStrSize = base + n;
      m_lpszBuf[m_nStrSize] = 0;
      return n;
    }
    trial = 2 * trial + 1;
  }
}

int CString::Format(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  int n = FormatV(fmt, args, false);
  va_end(args);
  return n;
}

int CString::AppendFormat(const char* fmt, ...) {
  va_list args;
  va_start(args, fmt);
  int n = FormatV(fmt, args, true);
  va_end(args);
  return n;
}

void CString::Empty() {
  if (m_lpszBuf != m_szInline)
    free(m_lpszBuf);
  m_lpszBuf = m_szInline;
  m_nAllocSize = INLINE_CAP;
  m_nStrSize = 0;
  m_szInline[0] = 0;
}

void CString::ReleaseBuffer(unsigned long n) {
  assert(n < m_nAllocSize + 1);
  m_nStrSize = n;
  m_lpszBuf[n] = 0;
}

#define SELF_CHECK(cond)                                                                                               \
  do {                                                                                                                 \
    if (!(cond)) {                                                                                                     \
      printf("CString self-test failed (%s) at %s:%d\n", #cond, __FILE__, __LINE__);                                   \
      ok = false;                                                                                                      \
    }                                                                                                                  \
  } while (0)

bool CString_SelfTest() {
  bool ok = true;
  CString e;
  SELF_CHECK(e.IsEmpty() && e == "" && e.GetLength() == 0);
  CString a("abc"), b;
  b = a;
  SELF_CHECK(b == "abc");
  CString c = a + CString("def");
  SELF_CHECK(c == "abcdef" && c.GetLength() == 6);
  c.Reserve(1024);
  SELF_CHECK(c == "abcdef" && c.GetLength() == 6);
  SELF_CHECK(c.Find('c') == 2 && c.ReverseFind('f') == 5 && c.Find('z') == -1);
  CString big;
  std::vector<char> s(506, 'x');
  s[505] = 0;
  big.Format("%s", s.data());
  SELF_CHECK(big.GetLength() == 505);
  CString copy(big);
  SELF_CHECK(copy == big && copy.Mid(500, 5).GetLength() == 5);
  CString f;
  f.Format("%d-%.2f", 42, 1.5);
  SELF_CHECK(f == "42-1.50");
  SELF_CHECK(f[0] == '4' && f[(unsigned long)7] == 0);
  f.SetAt(0, '5');
  SELF_CHECK(f == "52-1.50");
  f.AppendFormat("/%s", "z");
  SELF_CHECK(f == "52-1.50/z");
  return ok;
}
