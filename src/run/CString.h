// Text with an inline store for short strings and a heap buffer beyond it.
#pragma once
#include <cstdarg>
#include <cstddef>

class CString {
public:
  CString();
  CString(const CString& s);
  CString(const char* psz);
  CString(int, const char* fmt, ...) __attribute__((format(printf, 3, 4)));
  ~CString();

  CString& operator=(const CString& s);
  CString& operator=(const char* psz);
  CString operator+(const CString& s) const;
  CString& operator+=(const CString& s);
  CString& operator+=(const char* psz);
  CString& operator+=(char c);

  bool operator==(const char* psz) const;
  bool operator==(const CString& s) const;
  bool operator!=(const char* psz) const { return !(*this == psz); }
  bool operator!=(const CString& s) const { return !(*this == s); }

  unsigned long GetLength() const { return m_nStrSize; }
  bool IsEmpty() const { return m_nStrSize == 0; }
  operator const char*() const { return m_lpszBuf; }
  const char* c_str() const { return m_lpszBuf; }

  char GetAt(unsigned long n) const;
  char operator[](unsigned long n) const { return GetAt(n); }
  char operator[](int n) const { return GetAt((unsigned long)n); }
  void SetAt(unsigned long n, char c);

  int Find(char c) const;
  int ReverseFind(char c) const;
  CString Left(long n) const;
  CString Right(long n) const;
  CString Mid(long start, long n) const;

  int Format(const char* fmt, ...) __attribute__((format(printf, 2, 3)));
  int AppendFormat(const char* fmt, ...) __attribute__((format(printf, 2, 3)));
  int FormatV(const char* fmt, va_list args, bool bAppend);

  void Empty();
  // Makes room for n characters, the end mark included; n at or below the
  // length cuts the text to n - 1 characters, n of 0 empties it.
  char* Reserve(unsigned long n);
  char* GetBuffer() { return m_lpszBuf; }
  void ReleaseBuffer(unsigned long n);

  unsigned long m_nStrSize;
  unsigned long m_nAllocSize;
  char* m_lpszBuf;

private:
  void Assign(const char* psz, unsigned long n);
  void Append(const char* psz, unsigned long n);
  char m_szInline[256];
};

// Exercises the class once at process start; prints each failed check.
bool CString_SelfTest();
