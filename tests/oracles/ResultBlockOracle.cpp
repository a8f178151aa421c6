// SPDX-License-Identifier: MIT
#include "oracles/ResultBlockOracle.h"

#include <memory>
#include <stdexcept>
#include <string>

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

namespace orx::testing {

using namespace service;

namespace {

struct Free {
  void operator()(pcre2_code* code) const { pcre2_code_free(code); }
  void operator()(pcre2_match_data* data) const { pcre2_match_data_free(data); }
  void operator()(pcre2_compile_context* context) const { pcre2_compile_context_free(context); }
};

template <typename T>
using Owned = std::unique_ptr<T, Free>;

class Expression {
 public:
  explicit Expression(std::string_view pattern) {
    const Owned<pcre2_compile_context> context(pcre2_compile_context_create(nullptr));
    // What "." does not match: LF, VT, FF, CR, U+0085, U+2028 and U+2029.
    pcre2_set_newline(context.get(), PCRE2_NEWLINE_ANY);
    int error = 0;
    PCRE2_SIZE errorPosition = 0;
    code_.reset(pcre2_compile(reinterpret_cast<PCRE2_SPTR>(pattern.data()), pattern.size(),
                              PCRE2_UTF | PCRE2_UCP | PCRE2_CASELESS, &error, &errorPosition,
                              context.get()));
    if (!code_) throw std::runtime_error("PCRE2 refuses the pattern");
    pcre2_jit_compile(code_.get(), PCRE2_JIT_COMPLETE);
    data_.reset(pcre2_match_data_create_from_pattern(code_.get(), nullptr));
  }

  bool match(std::string_view text) {
    int groups = matched(text, 0);
    // Machine code has a small stack; the interpreter takes as much as it needs.
    if (groups == PCRE2_ERROR_JIT_STACKLIMIT) groups = matched(text, PCRE2_NO_JIT);
    if (groups > 0) return true;
    // Errors of the UTF-8 check stand in one range; such a text is one without a match.
    if (groups == PCRE2_ERROR_NOMATCH) return false;
    if (groups <= PCRE2_ERROR_UTF8_ERR1 && groups >= PCRE2_ERROR_UTF8_ERR21) return false;
    throw std::runtime_error("PCRE2 gave up with error " + std::to_string(groups));
  }

  std::optional<std::string_view> group(std::string_view text, std::uint32_t number) const {
    if (number >= pcre2_get_ovector_count(data_.get())) return std::nullopt;
    const PCRE2_SIZE* ends = pcre2_get_ovector_pointer(data_.get()) + std::size_t{2} * number;
    if (ends[0] == PCRE2_UNSET) return std::nullopt;
    return text.substr(ends[0], ends[1] - ends[0]);
  }

 private:
  int matched(std::string_view text, std::uint32_t options) const {
    return pcre2_match(code_.get(), reinterpret_cast<PCRE2_SPTR>(text.data()), text.size(), 0,
                       options, data_.get(), nullptr);
  }

  Owned<pcre2_code> code_;
  Owned<pcre2_match_data> data_;
};

}  // namespace

std::optional<ResultBlock> matchResultBlockByPattern(std::string_view answer,
                                                     ResultBlockPattern pattern) {
  thread_local Expression lenient(result_block_pattern);
  thread_local Expression strict(strict_result_block_pattern);
  Expression& expression = pattern == ResultBlockPattern::Strict ? strict : lenient;
  if (!expression.match(answer)) return std::nullopt;
  return ResultBlock{expression.group(answer, 1).value(), expression.group(answer, 2).value(),
                     expression.group(answer, 3).value(), expression.group(answer, 4)};
}

std::string descriptionOf(const std::optional<ResultBlock>& block) {
  if (!block) return "no match";
  std::string text = "code '" + std::string(block->resultCode) + "', description '" +
                     std::string(block->resultDescription) + "', type '" +
                     std::string(block->returnDataType) + "', data ";
  return text + (block->returnData ? "'" + std::string(*block->returnData) + "'" : "absent");
}

}  // namespace orx::testing
