// A small reference-counted holder with a deleter, used for FILE* handles that
// have several exits.
#pragma once
#include <cstdio>
#include <utility>

namespace details {
class shared_ptr1_deleter_interface {
public:
  virtual ~shared_ptr1_deleter_interface() {}
  virtual void destroy(void* p) = 0;
};

template <class T, class D> class shared_ptr1_deleter_internal : public shared_ptr1_deleter_interface {
public:
  explicit shared_ptr1_deleter_internal(D d) : m_d(d) {}
  void destroy(void* p) override { m_d((T*)p); }
  D m_d;
};
} // namespace details

template <class T> struct smart_file_deleter {
  void operator()(T* f) const {
    if (f)
      fclose(f);
  }
};

inline void file_deleter(FILE* f) {
  if (f)
    fclose(f);
}

template <class T> class shared_ptr1 {
public:
  shared_ptr1() : m_p(nullptr), m_pCount(nullptr), m_pDel(nullptr) {}
  template <class D>
  shared_ptr1(T* p, D d) : m_p(p), m_pCount(new int(0)), m_pDel(new details::shared_ptr1_deleter_internal<T, D>(d)) {}
  shared_ptr1(const shared_ptr1& o) : m_p(o.m_p), m_pCount(o.m_pCount), m_pDel(o.m_pDel) {
    if (m_pCount)
      ++*m_pCount;
  }
  shared_ptr1& operator=(const shared_ptr1& o) {
    shared_ptr1 tmp(o);
    std::swap(m_p, tmp.m_p);
    std::swap(m_pCount, tmp.m_pCount);
    std::swap(m_pDel, tmp.m_pDel);
    return *this;
  }
  ~shared_ptr1() { release(); }
  template <class D> void reset(T* p, D d) {
    release();
    m_p = p;
    m_pCount = new int(0);
    m_pDel = new details::shared_ptr1_deleter_internal<T, D>(d);
  }
  void reset() { release(); }
  T* get() const { return m_p; }
  T* operator->() const { return m_p; }
  operator bool() const { return m_p != nullptr; }

private:
  // GCC 12 reports a false use-after-free across inlined copies of one holder.
#if defined(__GNUC__) && !defined(__clang__) && __GNUC__ >= 12
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wuse-after-free"
#endif
  void release() {
    int* count = m_pCount;
    details::shared_ptr1_deleter_interface* del = m_pDel;
    T* p = m_p;
    m_p = nullptr;
    m_pCount = nullptr;
    m_pDel = nullptr;
    if (!count)
      return;
    if (*count == 0) {
      del->destroy(p);
      delete del;
      delete count;
    } else {
      --*count;
    }
  }
#if defined(__GNUC__) && !defined(__clang__) && __GNUC__ >= 12
#pragma GCC diagnostic pop
#endif

  T* m_p;
  int* m_pCount;
  details::shared_ptr1_deleter_interface* m_pDel;
};
