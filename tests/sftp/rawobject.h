#ifndef QEL_TESTS_SFTP_RAWOBJECT_H
#define QEL_TESTS_SFTP_RAWOBJECT_H

#include <array>
#include <typeinfo>
#include <utility>
#include <vector>

namespace TestSftp {

using Positions = std::vector<int>;

// The positions that were called, of all objects below. One thread.
inline Positions& CalledPositions() {
    static Positions called;
    return called;
}

// Passes for a T, but its virtual table is made by hand: each entry records its position, counted
// from 1, and returns 0. Arguments are left where they are.
template <class T>
class CRawObject {
public:
    CRawObject() { FillIn(std::make_integer_sequence<int, kEntries>()); }

    CRawObject(const CRawObject&) = delete;
    CRawObject& operator=(const CRawObject&) = delete;

    T& Get() { return *reinterpret_cast<T*>(&m_pTable); }

private:
    static constexpr int kEntries = 80;
    static constexpr int kBefore = 2;  // the offset to the whole object and the type information

    template <int nPosition>
    static int Entry() {
        CalledPositions().push_back(nPosition);
        return 0;
    }

    template <int... nIndex>
    void FillIn(std::integer_sequence<int, nIndex...> /*indices*/) {
        m_table = {{nullptr, &typeid(T), reinterpret_cast<const void*>(&Entry<nIndex + 1>)...}};
        m_pTable = m_table.data() + kBefore;
    }

    const void* m_pTable = nullptr;  // where an object of a polymorphic class has it
    std::array<const void*, kBefore + kEntries> m_table;
};

}  // namespace TestSftp

#endif
