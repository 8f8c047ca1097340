#include "platform/resources.h"

#include <cstddef>
#include <cstdio>
#include <deque>
#include <memory>
#include <mutex>
#include <string_view>
#include <unordered_map>

#include "platform/files.h"

// Syntax of a resource file: one `key=value` in each line, blanks around both dropped; the value
// goes to the end of the line. Lines without `=` or without a key, and lines that begin with `#`,
// say nothing. Line ends are LF or CR LF; a UTF-8 byte order mark may open the file.

namespace {

class CResourceStore {
public:
    // Never destroyed: its texts are promised for the life of the process, and other objects may
    // still read them while it exits.
    static CResourceStore& Instance() {
        static CResourceStore& store = *new CResourceStore;
        return store;
    }

    void AddFile(std::string_view text) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        while (!text.empty()) {
            const std::size_t nEnd = text.find('\n');
            AddLine(text.substr(0, nEnd));
            text.remove_prefix(nEnd == std::string_view::npos ? text.size() : nEnd + 1);
        }
    }

    const char* Find(const std::string& strKey) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto entry = m_entries.find(strKey);
        return entry == m_entries.end() ? nullptr : entry->second->c_str();
    }

private:
    static std::string_view Trimmed(std::string_view text) {
        constexpr const char* kBlanks = " \t\r";
        const std::size_t nFirst = text.find_first_not_of(kBlanks);
        if (nFirst == std::string_view::npos) return {};
        return text.substr(nFirst, text.find_last_not_of(kBlanks) + 1 - nFirst);
    }

    void AddLine(std::string_view line) {
        const std::size_t nEquals = line.find('=');
        if (nEquals == std::string_view::npos) return;
        const std::string_view key = Trimmed(line.substr(0, nEquals));
        if (key.empty() || key.front() == '#') return;
        Set(std::string(key), Trimmed(line.substr(nEquals + 1)));
    }

    void Set(const std::string& strKey, std::string_view value) {
        const auto entry = m_entries.find(strKey);
        if (entry != m_entries.end() && *entry->second == value) return;
        // The text first: without memory there is to be no entry without one.
        const std::string* const pValue = &m_values.emplace_back(value);
        m_entries.insert_or_assign(strKey, pValue);
    }

    std::mutex m_mutex;
    std::deque<std::string> m_values;  // only ever grows, for old texts stay valid
    std::unordered_map<std::string, const std::string*> m_entries;
};

struct SCloseFile {
    void operator()(FILE* pFile) const { (void)std::fclose(pFile); }  // only read from
};

bool ReadFile(const std::string& strPath, std::string& strText) {
    const std::unique_ptr<FILE, SCloseFile> file(ZELT_OS::fopen(strPath.c_str(), "rb", "UTF-8"));
    if (file == nullptr) return false;
    char block[4096];
    while (const std::size_t nRead = std::fread(block, 1, sizeof(block), file.get()))
        strText.append(block, nRead);
    return std::ferror(file.get()) == 0;
}

}  // namespace

int ZeltAddResFileWithAbsolute(const std::string& absolutePath) {
    std::string strText;
    if (!ReadFile(absolutePath, strText)) return 0;
    std::string_view text = strText;
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (text.substr(0, kByteOrderMark.size()) == kByteOrderMark)
        text.remove_prefix(kByteOrderMark.size());
    CResourceStore::Instance().AddFile(text);
    return 1;
}

const char* ZeltGetResString(const std::string& key) {
    return CResourceStore::Instance().Find(key);
}
