// Kinds and lists of styles.

#include "bix/styles.h"
#include "styles/style_registry.h"
#include "support/text_view.h"

namespace bix {

using impl::View;

CStyle* CStyleList::FindStyle(const char* name) const {
  for (void* position = GetHeadPosition(); position != nullptr;) {
    CStyle* style = GetNext(position);
    if (View(style->GetName()) == View(name)) return style;
  }
  return nullptr;
}

CStyleKind::CStyleKind() : CStyleKind("", nullptr, 0) {}

CStyleKind::CStyleKind(const char* name, const COption* options, int count)
    : m_options(options), m_name(name), m_optionsCount(count), m_styles(this) {}

CStyleKind::~CStyleKind() {
  for (void* position = m_members.GetHeadPosition(); position != nullptr;)
    m_members.GetNext(position)->m_kind = nullptr;
  impl::StyleRegistry& styles = impl::Styles();
  for (void* entry : m_entries) styles.kinds.RemoveAt(entry);
  (void)styles.known.Remove(this);
}

// COMPAT(kind-options-fixed): a set that is added later is not looked at; styles have the options of
// the constructor. Test: StyleKindCompat.AnAddedOptionSetHasNoEffect
void CStyleKind::AddOptionSet(const char*, const COption*, int) {}

void CStyleKind::Enter(CStyle* style) {
  impl::StyleRegistry& styles = impl::Styles();
  m_members.AddTail(style);
  try {
    if (m_entries.empty()) styles.known.AddTail(this);
    m_entries.push_back(nullptr);
    m_entries.back() = styles.kinds.AddTail(this);
  } catch (...) {
    if (!m_entries.empty() && m_entries.back() == nullptr) m_entries.pop_back();
    if (m_entries.empty()) (void)styles.known.Remove(this);
    (void)m_members.Remove(style);
    throw;
  }
}

void CStyleKind::Leave(CStyle* style) noexcept {
  if (!m_members.Remove(style)) return;
  impl::StyleRegistry& styles = impl::Styles();
  // The last entry goes, so that kinds keep their order in the list, by which they are found.
  styles.kinds.RemoveAt(m_entries.back());
  m_entries.pop_back();
  if (m_entries.empty()) (void)styles.known.Remove(this);
}

}  // namespace bix
