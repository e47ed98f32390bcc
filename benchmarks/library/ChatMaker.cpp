#include "benchmarks/library/LibraryMaker.h"
#include "benchmarks/library/MadeFiles.h"
#include "benchmarks/library/Words.h"

#include <algorithm>

namespace lumbro::bench {

namespace {

constexpr unsigned seed = 20260303;
constexpr long long begin = 1'767'225'600;  // 2026-01-01

class Chat {
  public:
    Chat(Words& words, const std::string& blob, int project, long long started)
        : m_words(words),
          m_blob(blob),
          m_project("/home/dana/src/service-" + std::to_string(project)),
          m_session(words.uuid()),
          m_time(started) {}

    const std::string& session() const { return m_session; }

    std::string text(size_t bytes) {
        std::string out;
        while (out.size() < bytes) {
            request(out);
        }
        std::string title;
        m_words.sentence(title, 5);
        return out + R"({"type":"ai-title","aiTitle":")" + title + R"(","sessionId":")" + m_session + "\"}\n";
    }

  private:
    /// What the person asked, some calls of tools with their results, and the answer.
    void request(std::string& out) {
        std::string prompt;
        m_words.sentence(prompt, 20 + m_words.below(60));
        line(out, "user",
             R"("origin":{"kind":"human"},"promptSource":"typed","message":{"role":"user","content":")" +
                 prompt + "\"}");
        const int calls = 4 + m_words.below(16);
        for (int i = 0; i < calls; ++i) {
            call(out);
        }
        std::string reply;
        m_words.sentence(reply, 30 + m_words.below(120));
        line(out, "assistant",
             R"("message":{"role":"assistant","model":"model-1","content":[{"type":"text","text":")" + reply +
                 R"("}],"usage":{"input_tokens":4120,"output_tokens":312}})");
    }

    void call(std::string& out) {
        const std::string id = "toolu_" + m_words.uuid();
        line(out, "assistant",
             R"("message":{"role":"assistant","model":"model-1","content":[{"type":"tool_use","id":")" + id +
                 R"(","name":"Read","input":{"file_path":")" + m_project + "/src/" + m_words.word() +
                 R"(.cpp"}}],"usage":{"input_tokens":4120,"output_tokens":57}})");
        const size_t size = 200 + size_t(m_words.below(12'000));
        std::string result = m_blob.substr(size_t(m_words.below(int(m_blob.size() - size))), size);
        // The cut may have gone through an escape.
        result.front() = ' ';
        result.back() = ' ';
        result[result.size() - 2] = result[result.size() - 2] == '\\' ? ' ' : result[result.size() - 2];
        line(out, "user",
             R"("message":{"role":"user","content":[{"tool_use_id":")" + id +
                 R"(","type":"tool_result","content":")" + result + R"("}]},"toolUseResult":{"stdout":")" +
                 result + R"(","stderr":"","interrupted":false})");
    }

    void line(std::string& out, const char* type, const std::string& rest) {
        m_time += 7;
        const std::string id = m_words.uuid();
        out += R"({"parentUuid":")" + m_last + R"(","isSidechain":false,"userType":"external","cwd":")" +
               m_project + R"(","sessionId":")" + m_session +
               R"(","version":"2.1.197","gitBranch":"main","type":")" + type + R"(",)" + rest +
               R"(,"uuid":")" + id + R"(","timestamp":")" + MadeFiles::isoWithFraction(m_time) +
               R"(","entrypoint":"cli"})" + '\n';
        m_last = id;
    }

    Words& m_words;
    const std::string& m_blob;
    std::string m_project;
    std::string m_session;
    std::string m_last;
    long long m_time;
};

}  // namespace

bool makeChats(const std::string& folder, const LibrarySize& size) {
    constexpr int projects = 25;
    constexpr long long fileBytes = 2LL << 20;
    Words words(seed);
    MadeFiles files;
    // Results of tools are cut from this: text with as many escaped line ends and quotes as programs have.
    std::string blob;
    while (blob.size() < size_t(1) << 20) {
        words.sentence(blob, 3 + words.below(10));
        blob += R"(\n    \"name\": )";
    }
    const long long count = std::max(1LL, size.chatBytes / fileBytes);
    for (long long i = 0; i < count; ++i) {
        const int project = int(i % projects);
        const std::string place = folder + "/-home-dana-src-service-" + std::to_string(project);
        files.folder(place);
        Chat chat(words, blob, project, begin + i * 9000);
        const std::string text = chat.text(size_t(size.chatBytes / count));
        files.write(place + '/' + chat.session() + ".jsonl", text);
    }
    return files.isWhole();
}

}  // namespace lumbro::bench
