#include "spotlight/word_tokenizer.hpp"

#include <charconv>
#include <new>

#include "spotlight/text_folding.hpp"
#include "spotlight/word_segmenter.hpp"

namespace trovadex::spotlight {
namespace {

constexpr char kSectionStart = '\x01';
constexpr char kSectionText = '\x02';

struct Tokenizer {
  TermSink* sink;
};

int createTokenizer(void* userData, const char**, int, Fts5Tokenizer** out) {
  auto* tokenizer = new (std::nothrow) Tokenizer{static_cast<TermSink*>(userData)};
  if (!tokenizer) return SQLITE_NOMEM;
  *out = reinterpret_cast<Fts5Tokenizer*>(tokenizer);
  return SQLITE_OK;
}

void deleteTokenizer(Fts5Tokenizer* tokenizer) { delete reinterpret_cast<Tokenizer*>(tokenizer); }

using EmitToken = int (*)(void*, int, const char*, int, int, int);

int tokenizeSection(Tokenizer& tokenizer, std::string_view code, std::string_view text,
                    std::size_t textOffset, void* context, EmitToken emit) {
  const Segmentation words = segmentWords(text);
  std::string term;
  auto emitWord = [&](std::size_t begin, std::size_t end) {
    term.assign(code);
    term.push_back(':');
    term += fullyFold(text.substr(begin, end - begin));
    if (tokenizer.sink && tokenizer.sink->recording) tokenizer.sink->terms.push_back(term);
    return emit(context, 0, term.data(), static_cast<int>(term.size()),
                static_cast<int>(textOffset + begin), static_cast<int>(textOffset + end));
  };
  for (const WordRun& run : words.runs) {
    for (std::size_t i = 0; i < run.partCount; ++i) {
      const WordPart& part = words.parts[run.firstPart + i];
      if (int rc = emitWord(part.begin, part.end); rc != SQLITE_OK) return rc;
    }
    if (run.partCount > 1) {
      if (int rc = emitWord(run.begin, run.end); rc != SQLITE_OK) return rc;
    }
  }
  return SQLITE_OK;
}

int tokenize(Fts5Tokenizer* raw, void* context, int flags, const char* text, int size,
             EmitToken emit) {
  Tokenizer& tokenizer = *reinterpret_cast<Tokenizer*>(raw);
  const std::string_view all(text, static_cast<std::size_t>(size));
  if (flags & FTS5_TOKENIZE_QUERY) {
    return size == 0 ? SQLITE_OK : emit(context, 0, text, size, 0, size);
  }
  // No exception may unwind into SQLite.
  try {
    std::size_t at = all.find(kSectionStart);
    while (at != std::string_view::npos) {
      const std::size_t codeBegin = at + 1;
      const std::size_t textMark = all.find(kSectionText, codeBegin);
      if (textMark == std::string_view::npos) break;
      const std::size_t next = all.find(kSectionStart, textMark + 1);
      const std::size_t textEnd = next == std::string_view::npos ? all.size() : next;
      const int rc = tokenizeSection(tokenizer, all.substr(codeBegin, textMark - codeBegin),
                                     all.substr(textMark + 1, textEnd - textMark - 1), textMark + 1,
                                     context, emit);
      if (rc != SQLITE_OK) return rc;
      at = next;
    }
  } catch (const std::bad_alloc&) {
    return SQLITE_NOMEM;
  } catch (...) {
    return SQLITE_ERROR;
  }
  return SQLITE_OK;
}

fts5_api* fts5Api(sqlite3* db) {
  fts5_api* api = nullptr;
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(db, "SELECT fts5(?1)", -1, &statement, nullptr) != SQLITE_OK) {
    return nullptr;
  }
  sqlite3_bind_pointer(statement, 1, &api, "fts5_api_ptr", nullptr);
  sqlite3_step(statement);
  sqlite3_finalize(statement);
  return api;
}

}  // namespace

foundation::Status registerWordTokenizer(sqlite3* db, TermSink* sink) {
  fts5_api* api = fts5Api(db);
  if (!api) {
    return foundation::Error{"TrovadexSpotlightIndexErrorDomain", SQLITE_ERROR,
                             "this SQLite has no FTS5"};
  }
  fts5_tokenizer tokenizer{createTokenizer, deleteTokenizer, tokenize};
  const int rc = api->xCreateTokenizer(api, std::string(kWordTokenizerName).c_str(), sink,
                                       &tokenizer, nullptr);
  if (rc != SQLITE_OK) {
    return foundation::Error{"TrovadexSpotlightIndexErrorDomain", rc,
                             "cannot register the word tokenizer"};
  }
  return {};
}

std::string indexTerm(std::int64_t code, std::string_view foldedWord) {
  std::string term = std::to_string(code);
  term.push_back(':');
  term.append(foldedWord);
  return term;
}

void appendDocumentSection(std::string& document, std::int64_t code, std::string_view text) {
  document.push_back(kSectionStart);
  document += std::to_string(code);
  document.push_back(kSectionText);
  for (char c : text) {
    document.push_back(c == kSectionStart || c == kSectionText ? ' ' : c);
  }
}

}  // namespace trovadex::spotlight
