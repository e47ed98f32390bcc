#pragma once

#include <random>
#include <string>
#include <vector>

namespace lumbro::bench {

/// Words as people use them: few of them very often, most of them seldom. The same seed gives the same words.
class Words {
  public:
    explicit Words(unsigned seed);

    /// Appends `count` words with blanks between them, the first with a capital, and a full stop.
    void sentence(std::string& out, int count);
    const std::string& word();
    /// A word by how often it is used: 0 is the most frequent one.
    const std::string& at(size_t rank) const { return m_words[rank]; }
    /// A number from 0 to below `limit`.
    int below(int limit) { return int(m_random() % unsigned(limit)); }
    std::string uuid();

  private:
    std::mt19937 m_random;
    std::vector<std::string> m_words;
    /// Places in the words, so that a uniform choice here is a natural one there.
    std::vector<quint16> m_choice;
};

}  // namespace lumbro::bench
