#include "ESqliteSchema.h"

#include <string>

namespace etabulon {

namespace {

/// The words, quoted names and single characters of a CREATE TABLE statement.
class Tokens {
public:
    explicit Tokens(std::string_view text) : text_(text) {}

    [[nodiscard]] bool Next() {
        SkipBlanks();
        word_.clear();
        isQuoted_ = false;
        if (at_ >= text_.size()) {
            return false;
        }
        const char c = text_[at_];
        if (c == '"' || c == '`' || c == '\'' || c == '[') {
            TakeQuoted(c == '[' ? ']' : c);
            return true;
        }
        while (at_ < text_.size() && IsWordByte(text_[at_])) {
            word_.push_back(text_[at_++]);
        }
        if (word_.empty()) {
            word_.push_back(text_[at_++]);
        }
        return true;
    }
    [[nodiscard]] const std::string& Word() const noexcept { return word_; }
    [[nodiscard]] bool Is(std::string_view keyword) const noexcept {
        if (isQuoted_ || word_.size() != keyword.size()) {
            return false;
        }
        for (std::size_t i = 0; i < keyword.size(); ++i) {
            const char c = word_[i];
            if ((c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c) != keyword[i]) {
                return false;
            }
        }
        return true;
    }

private:
    static bool IsWordByte(char c) noexcept {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '_' || c == '$' || static_cast<unsigned char>(c) >= 0x80;
    }
    void SkipBlanks() {
        for (;;) {
            while (at_ < text_.size() &&
                   std::string_view(" \t\r\n\f").find(text_[at_]) != std::string_view::npos) {
                ++at_;
            }
            std::size_t end = std::string_view::npos;
            if (text_.substr(at_, 2) == "--") {
                end = text_.find('\n', at_);
            } else if (text_.substr(at_, 2) == "/*") {
                end = text_.find("*/", at_ + 2);
                end = end == std::string_view::npos ? end : end + 1;
            } else {
                return;
            }
            at_ = end == std::string_view::npos ? text_.size() : end + 1;
        }
    }
    void TakeQuoted(char end) {
        isQuoted_ = true;
        for (++at_; at_ < text_.size(); ++at_) {
            if (text_[at_] == end) {
                if (end == ']' || at_ + 1 >= text_.size() || text_[at_ + 1] != end) {
                    ++at_;
                    return;
                }
                ++at_;
            }
            word_.push_back(text_[at_]);
        }
    }

    std::string_view text_;
    std::size_t at_ = 0;
    std::string word_;
    bool isQuoted_ = false;
};

}  // namespace

bool SqliteDeclaresConflict(std::string_view createTable) {
    Tokens tokens(createTable);
    while (tokens.Next()) {
        if (tokens.Is("CONFLICT")) {
            return true;
        }
    }
    return false;
}

std::vector<Chaine> SqliteConstraintNames(std::string_view createTable) {
    std::vector<Chaine> names;
    Tokens tokens(createTable);
    Chaine name;             // of the next constraint
    bool isForeign = false;  // within FOREIGN KEY, whose REFERENCES isn't counted again
    int depth = 0;
    while (tokens.Next()) {
        if (tokens.Is("(") || tokens.Is(")")) {
            depth += tokens.Is("(") ? 1 : -1;
        } else if (depth != 1) {
            continue;
        } else if (tokens.Is(",")) {
            name.Clear();
            isForeign = false;
        } else if (tokens.Is("CONSTRAINT")) {
            name = tokens.Next() ? Chaine(std::string_view(tokens.Word())) : Chaine();
        } else if (tokens.Is("FOREIGN") || (tokens.Is("REFERENCES") && !isForeign)) {
            isForeign = tokens.Is("FOREIGN");
            names.push_back(name);
            name = Chaine();
        } else if (tokens.Is("PRIMARY") || tokens.Is("UNIQUE") || tokens.Is("CHECK") ||
                   tokens.Is("NOT") || tokens.Is("DEFAULT") || tokens.Is("COLLATE")) {
            name = Chaine();
        }
    }
    return names;
}

}  // namespace etabulon
