#include "benchmarks/library/LibraryMaker.h"

#include "benchmarks/library/MadeFiles.h"
#include "benchmarks/library/Words.h"

#include <algorithm>
#include <cstdio>

namespace lumbro::bench {

namespace {

constexpr unsigned seed = 20260302;
/// 2019-01-01; a capture about every twelve hours from then on.
constexpr long long begin = 1'546'300'800;
constexpr long long between = 45'000;

class Maker {
  public:
    Maker(std::string root, const LibrarySize& size) : m_root(std::move(root)), m_size(size) {}

    bool make() {
        for (const char* name : {"/captures", "/engines", "/asks", "/memory/people", "/memory/projects"}) {
            m_files.folder(m_root + name);
        }
        for (int i = 0; i < m_size.people; ++i) {
            m_people.push_back(capital(m_words.word()) + ' ' + capital(m_words.at(size_t(200 + i))));
        }
        for (int i = 0; i < m_size.captures; ++i) {
            capture(i);
        }
        pages();
        lists();
        return m_files.isWhole();
    }

  private:
    static std::string capital(std::string word) {
        word[0] = word[0] >= 'a' && word[0] <= 'z' ? char(word[0] - ('a' - 'A')) : word[0];
        return word;
    }
    std::string slug(int person) const { return "person-" + std::to_string(person); }
    std::string link(int person) const {
        return "[[people/" + slug(person) + "|" + m_people[size_t(person)] + "]]";
    }
    std::string title() {
        std::string text;
        m_words.sentence(text, 4);
        text.pop_back();
        return text;
    }
    std::string captureName(int index) const {
        const char* kinds[] = {"meeting", "meeting", "meeting", "thought", "meeting", "session"};
        return MadeFiles::stamp(begin + index * between) + '-' + kinds[index % 6];
    }

    void capture(int index) {
        const long long started = begin + index * between;
        const std::string name = captureName(index);
        const std::string folder = m_root + "/captures/" + name;
        const std::string kind = name.substr(name.rfind('-') + 1);
        m_files.folder(folder);
        const std::string heading = title();
        const bool isSession = kind == "session";
        // The lengths of calls differ.
        const int words = m_size.words / m_size.captures * (50 + m_words.below(101)) / 100;
        meta(folder, kind, heading, started, isSession);
        if (isSession) {
            session(folder, heading, started, words);
        } else {
            transcript(folder, heading, words * 22 / 25);
            handoff(folder, words / 10);
        }
        if (index % 3 == 0) {
            std::string notes;
            for (int line = 0; line < 6; ++line) {
                notes += "- ";
                m_words.sentence(notes, words / 125 + 1);
                notes += '\n';
            }
            m_files.write(folder + "/notes.md", notes);
        }
    }

    void meta(const std::string& folder, const std::string& kind, const std::string& heading,
              long long started, bool isSession) {
        std::string people = "[\n    \"";
        std::string addresses = people;
        for (int i = 0; i < 3; ++i) {
            const int person = m_words.below(m_size.people);
            people += m_people[size_t(person)] + (i < 2 ? "\",\n    \"" : "\"\n  ]");
            addresses += "person" + std::to_string(person) + "@company" + std::to_string(person % 300) +
                         ".com" + (i < 2 ? "\",\n    \"" : "\"\n  ]");
        }
        m_files.write(folder + "/meta.json",
                      "{\n  \"attendeeEmails\": " + addresses + ",\n  \"attendees\": " + people +
                          ",\n  \"endedAt\": \"" + MadeFiles::iso(started + 1800) + "\",\n  \"kind\": \"" +
                          kind + "\",\n  \"memorizedAt\": \"" + MadeFiles::iso(started + 1900) + "\",\n  " +
                          (isSession ? "\"sessionKey\": \"" + MadeFiles::day(started) + "/api\",\n  " : "") +
                          "\"sources\": [\n    \"mic\",\n    \"system\"\n  ],\n  \"startedAt\": \"" +
                          MadeFiles::iso(started) + "\",\n  \"title\": \"" + heading + "\"\n}");
    }

    void transcript(const std::string& folder, const std::string& heading, int words) {
        std::string json = "[\n";
        std::string markdown = "# " + heading + "\n\n";
        double start = 0;
        double paragraph = -100;
        bool isMe = false;
        for (int done = 0; done < words;) {
            const int count = 5 + m_words.below(14);
            std::string text;
            m_words.sentence(text, count);
            const bool turns = m_words.below(3) == 0;
            isMe = turns ? !isMe : isMe;
            char time[32];
            std::snprintf(time, sizeof time, "%.2f", start);
            json += (done > 0 ? ",\n  {\n    \"id\": \"" : "  {\n    \"id\": \"") + m_words.uuid() +
                    "\",\n    \"speaker\": \"" + (isMe ? "Me" : "Them") + "\",\n    \"start\": " + time +
                    ",\n    \"text\": \"" + text + "\"\n  }";
            if (turns || start - paragraph >= 45) {
                char stamp[48];
                std::snprintf(stamp, sizeof stamp, "%s[%02d:%02d:%02d] %s: ", done > 0 ? "\n" : "",
                              int(start) / 3600, int(start) / 60 % 60, int(start) % 60, isMe ? "Me" : "Them");
                markdown += stamp + text;
                paragraph = start;
            } else {
                markdown += ' ' + text;
            }
            start += count * 0.37;
            done += count;
        }
        m_files.write(folder + "/transcript.json", json + "\n]");
        m_files.write(folder + "/transcript.md", markdown + '\n');
    }

    void handoff(const std::string& folder, int words) {
        std::string text = "# Notes\n\n";
        for (int done = 0; done < words; done += 12) {
            text += done % 60 == 48 ? "\n## Topic\n" : "- ";
            m_words.sentence(text, 12);
            text += '\n';
        }
        m_files.folder(folder + "/handoffs");
        m_files.write(folder + "/handoffs/notes.md", text);
    }

    void session(const std::string& folder, const std::string& heading, long long started, int words) {
        std::string json = "[";
        std::string markdown = "# " + heading + "\nFolder: /home/dana/src/api\n";
        const int entries = words / 150 + 1;
        for (int i = 0; i < entries; ++i) {
            std::string prompt;
            std::string reply;
            m_words.sentence(prompt, 60);
            m_words.sentence(reply, 90);
            json += (i > 0 ? ",\n  {\n    \"folder\": \"/home/dana/src/api\",\n    \"id\": \""
                           : "\n  {\n    \"folder\": \"/home/dana/src/api\",\n    \"id\": \"") +
                    m_words.uuid() + "\",\n    \"project\": \"api\",\n    \"prompt\": \"" + prompt +
                    "\",\n    \"reply\": \"" + reply + "\",\n    \"session\": \"" + m_words.uuid() +
                    "\",\n    \"time\": \"" + MadeFiles::iso(started + i * 60) + "\"\n  }";
            markdown += "\n[9:14 AM] Me: " + prompt + "\nClaude: " + reply + '\n';
        }
        m_files.write(folder + "/session.json", json + "\n]");
        m_files.write(folder + "/session.md", markdown);
    }

    std::string source() {
        const std::string name = captureName(m_words.below(m_size.captures));
        return "[[captures/" + name + "/transcript|" + title() + "]]";
    }
    std::string someDay() { return MadeFiles::day(begin + m_words.below(m_size.captures) * between); }

    void page(const std::string& path, const std::string& fields, const std::string& name) {
        std::string text = "---\nname: " + name + '\n' + fields + "last_seen: " + someDay() + "\n---\n\n# " +
                           name + "\n\n## About\n";
        for (int i = 0; i < 3; ++i) {
            text += "- ";
            m_words.sentence(text, 9);
            text += '\n';
        }
        text += "\n## Timeline\n";
        for (int i = 0; i < 12; ++i) {
            text += "- " + someDay() + " · " + source() + " — ";
            m_words.sentence(text, 14);
            text += '\n';
        }
        m_files.write(path, text);
    }

    void pages() {
        for (int i = 0; i < m_size.people; ++i) {
            page(m_root + "/memory/people/" + slug(i) + ".md",
                 "company: Company " + std::to_string(i % 300) + "\nrole: " + m_words.word() +
                     "\nemail: person" + std::to_string(i) + "@company" + std::to_string(i % 300) + ".com\n",
                 m_people[size_t(i)]);
        }
        for (int i = 0; i < m_size.projects; ++i) {
            page(m_root + "/memory/projects/project-" + std::to_string(i) + ".md", "status: under way\n",
                 title());
        }
    }

    void lists() {
        std::string promises =
            "# Promises\n\nOpen loops from your meetings and notes. Tick a box when it's done.\n\n";
        char anchor[32];
        for (int i = 0; i < m_size.promises; ++i) {
            std::snprintf(anchor, sizeof anchor, " ^p-%06x\n", unsigned(i));
            promises += i % 10 == 0 ? "- [ ] " : "- [x] ";
            m_words.sentence(promises, 8);
            promises.pop_back();
            promises += " · Me → " + link(m_words.below(m_size.people)) + " · due Friday · " + source() +
                        " · " + someDay() + anchor;
        }
        m_files.write(m_root + "/memory/promises.md", promises);
        std::string ideas = "# Ideas\n\nContent ideas from your meetings and notes, newest first.\n\n";
        for (int i = 0; i < m_size.ideas; ++i) {
            std::snprintf(anchor, sizeof anchor, " ^i-%06x\n", unsigned(i));
            ideas += "- **" + title() + "** — ";
            m_words.sentence(ideas, 12);
            ideas += " · " + source() + " · " + someDay() + anchor;
        }
        m_files.write(m_root + "/memory/ideas.md", ideas);
    }

    std::string m_root;
    LibrarySize m_size;
    Words m_words{seed};
    MadeFiles m_files;
    std::vector<std::string> m_people;
};

}  // namespace

bool makeLibrary(const std::string& folder, const LibrarySize& size) {
    return Maker(folder, size).make();
}

}  // namespace lumbro::bench
