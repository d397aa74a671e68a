#pragma once
// An ordered map from K to V (K needs operator<).
#include <map>

namespace ozgi {

template <typename K, typename V>
class cls_dict {
public:
    /// Sets the value of `key`, adding it when absent.
    void set(const K& key, const V& value) { m_map[key] = value; }
    /// The value of `key`, or null when absent.
    V* get(const K& key) {
        auto it = m_map.find(key);
        return it == m_map.end() ? nullptr : &it->second;
    }
    /// The value of `key`, or null when absent.
    const V* get(const K& key) const {
        auto it = m_map.find(key);
        return it == m_map.end() ? nullptr : &it->second;
    }
    /// True when `key` has a value.
    bool has(const K& key) const { return m_map.count(key) != 0; }
    /// Removes `key` and its value; an absent key is ignored.
    void remove(const K& key) { m_map.erase(key); }
    /// Removes every entry.
    void clear() { m_map.clear(); }
    /// Number of entries.
    int count() const { return static_cast<int>(m_map.size()); }
    /// The first entry in key order.
    typename std::map<K, V>::const_iterator begin() const { return m_map.begin(); }
    /// One past the last entry.
    typename std::map<K, V>::const_iterator end() const { return m_map.end(); }

private:
    std::map<K, V> m_map;
};

} // namespace ozgi
