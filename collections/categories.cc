#include "collections/categories.h"

#include <algorithm>
#include <array>
#include <limits>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "collections/book.h"
#include "collections/records.h"
#include "core/records/budget.h"
#include "core/records/event.h"
#include "core/records/loan.h"

namespace vemra {

namespace {

// The kinds of record that carry category references, in the order a delete rewrites them, and
// the tables that hold them.
constexpr std::array<uint32_t, 6> kTaggedTypes = {
    etTransaction, etScheduledTransaction, etLoan, etBudget, etEvent, etScheduledEvent};
constexpr std::array<uint32_t, 6> kTaggedTables = {1, 0, 0, 0, 2, 0};

// The position of `type` in kTaggedTypes, or -1 for records without category references.
int TaggedKind(uint32_t type) {
  auto it = std::find(kTaggedTypes.begin(), kTaggedTypes.end(), type);
  return it == kTaggedTypes.end() ? -1 : static_cast<int>(it - kTaggedTypes.begin());
}

// The category block of a record of one of kTaggedTypes. The type code decides the class, so a
// static cast reaches the second base without a dynamic_cast per record of a large table.
const TTaggedEntry& TaggedPart(const TBaseEntry& e) {
  switch (e.Header.Type) {
    case etLoan:
      return static_cast<const TLoan&>(e);
    case etBudget:
      return static_cast<const TBudget&>(e);
    case etEvent:
    case etScheduledEvent:
      return static_cast<const TEvent&>(e);
    default:  // transactions and scheduled transactions
      return static_cast<const TTransaction&>(e);
  }
}

TTaggedEntry& TaggedPart(TBaseEntry& e) {
  return const_cast<TTaggedEntry&>(TaggedPart(std::as_const(e)));
}

// A fixed root is never written into another record: references fall back to "none" instead.
uint64_t ReplacementFor(uint64_t parent) {
  return parent > kLastFixedRoot ? parent : 0;
}

constexpr size_t kNoStep = std::numeric_limits<size_t>::max();

}  // namespace

const TCategory* Categories::Find(uint64_t id) {
  return FindRecord<TCategory>(*db_, id, etCategory);
}

bool Categories::MarkedUpChain(const TCategory& c, uint8_t THeader::*flag) {
  const uint64_t user = db_->CurrentUserID();
  const TCategory* current = &c;
  for (int step = 0; current != nullptr && step < kMaxParentSteps; ++step) {
    if (current->Header.*flag && current->Header.OwnerID != user) return true;
    current = Find(current->Data.RootID);
  }
  return false;
}

uint64_t Categories::AddCategory(const TCategory& c) {
  if (IsReadOnly(c)) return 0;
  auto copy = std::make_unique<TCategory>(c);
  copy->Header.ID = 0;
  return db_->StoreEntry(std::move(copy));
}

uint64_t Categories::UpdateCategory(const TCategory& c) {
  if (IsReadOnly(c)) return 0;
  return db_->StoreEntry(std::make_unique<TCategory>(c));
}

TCategory Categories::GetCategory(uint64_t id) {
  return LoadRecord<TCategory>(*db_, id, etCategory);
}

std::vector<Categories::Removal> Categories::PlanRemovals(uint64_t top, uint64_t parent) {
  // Depth first without recursion, so that a long chain cannot exhaust the stack; `seen` keeps
  // a cyclic chain from being entered twice.
  struct Frame {
    uint64_t ID;
    uint64_t Parent;
    std::vector<TCategory> Children;  // in the order they are deleted
    size_t Next = 0;
  };
  std::vector<Removal> plan;
  std::unordered_set<uint64_t> seen{top};
  std::vector<Frame> stack;
  stack.push_back({top, parent, GetChildren(top, true)});
  while (!stack.empty()) {
    Frame& f = stack.back();
    if (f.Next < f.Children.size()) {
      const uint64_t child = f.Children[f.Next].Header.ID;
      const uint64_t child_parent = f.Children[f.Next].Data.RootID;
      ++f.Next;
      if (seen.insert(child).second) {
        stack.push_back({child, child_parent, GetChildren(child, true)});
      }
      continue;
    }
    plan.push_back({f.ID, ReplacementFor(f.Parent)});
    stack.pop_back();
  }
  return plan;
}

void Categories::RewireReferences(const std::vector<Removal>& plan) {
  // The removals run deepest first and each moves a reference one level up, so one record may
  // be changed by several of them in turn. Applying them in order to the record's copy of the
  // block gives the same end state as one pass per removal, with one pass per table and one
  // store per changed record.
  std::unordered_map<uint64_t, size_t> steps;
  if (plan.size() > 1) {
    for (size_t i = 0; i < plan.size(); ++i) steps.emplace(plan[i].ID, i);
  }
  auto step_of = [&](uint64_t ref) -> size_t {
    if (ref == 0) return kNoStep;
    if (plan.size() == 1) return ref == plan[0].ID ? 0 : kNoStep;
    auto it = steps.find(ref);
    return it == steps.end() ? kNoStep : it->second;
  };
  // Returns true when some removal changed `c`.
  auto rewire = [&](TCategories& c) {
    std::array<uint64_t*, 4> refs = {&c.CategoryID, &c.FamilyID, &c.PayeeID, &c.ProjectID};
    bool changed = false;
    size_t first_open = 0;  // removals before this one have been applied
    for (;;) {
      size_t next = kNoStep;
      uint64_t* target = nullptr;
      // The earliest pending removal wins; among equal references only the first one changes.
      for (uint64_t* ref : refs) {
        size_t s = step_of(*ref);
        if (s != kNoStep && s >= first_open && s < next) {
          next = s;
          target = ref;
        }
      }
      if (target == nullptr) return changed;
      *target = plan[next].Replacement;
      first_open = next + 1;
      changed = true;
    }
  };

  std::array<std::vector<std::pair<uint64_t, TCategories>>, kTaggedTypes.size()> found;
  for (uint32_t table : {1u, 0u, 2u}) {
    for (const auto& [id, e] : db_->GetTable(table)) {
      int kind = TaggedKind(e->Header.Type);
      if (kind < 0) continue;
      TCategories c = TaggedPart(*e).Categories;
      if (rewire(c)) found[kind].emplace_back(id, c);
    }
  }
  // Stored after the scans, kind by kind, from copies with their texts and tags loaded: a
  // copy without them would store its texts as empty and so delete them.
  for (size_t kind = 0; kind < found.size(); ++kind) {
    for (const auto& [id, categories] : found[kind]) {
      std::unique_ptr<TBaseEntry> copy = db_->GetEntry(id, kTaggedTables[kind]);
      if (copy == nullptr) continue;
      TaggedPart(*copy).Categories = categories;
      db_->StoreEntry(std::move(copy));
    }
  }
}

bool Categories::DeleteCategory(uint64_t id, bool delete_children) {
  if (IsReadOnly(id)) return false;
  const TCategory* category = Find(id);
  if (category == nullptr) return false;
  const uint64_t parent = category->Data.RootID;

  std::vector<Removal> plan;
  if (delete_children) {
    plan = PlanRemovals(id, parent);
  } else {
    for (TCategory& child : GetChildren(id, true)) {
      child.Data.RootID = parent;
      db_->StoreEntry(std::make_unique<TCategory>(std::move(child)));
    }
    plan.push_back({id, ReplacementFor(parent)});
  }
  RewireReferences(plan);
  // Children whose deletion the database refuses (another owner's read-only records) stay;
  // only the result for `id` itself, deleted last, is reported.
  bool deleted = false;
  for (const Removal& r : plan) deleted = db_->DeleteEntry(0, r.ID);
  return deleted;
}

uint64_t Categories::CreateCategory(const std::wstring& name, uint64_t parent) {
  if (name.empty() || IsReadOnly(parent)) return 0;
  TCategory c;
  c.Name = name;
  c.Data.RootID = parent;
  return AddCategory(c);
}

uint64_t Categories::GetTopCategoryID(uint64_t id, uint64_t stop) {
  uint64_t last = 0;
  uint64_t current = id;
  for (int step = 0; step < kMaxParentSteps; ++step) {
    if (current == stop) return last;
    const TCategory* c = Find(current);
    if (c == nullptr) return last;
    last = current;
    current = c->Data.RootID;
  }
  return 0;
}

bool Categories::IsInBranch(uint64_t root, uint64_t id) {
  uint64_t current = id;
  for (int step = 0; step < kMaxParentSteps; ++step) {
    if (current == root) return true;
    const TCategory* c = Find(current);
    if (c == nullptr) {
      return root == kCategoryRoot &&
             (current == kCategorySubRootA || current == kCategorySubRootB);
    }
    current = c->Data.RootID;
  }
  return false;
}

bool Categories::HasChildren(uint64_t id) {
  for (const auto& [key, e] : db_->GetTable(0)) {
    if (e->Header.Type == etCategory && static_cast<const TCategory&>(*e).Data.RootID == id) {
      return true;
    }
  }
  return false;
}

std::list<std::shared_ptr<TCategory>> Categories::GetDescendants(uint64_t id) {
  std::vector<const TBaseEntry*> entries;
  db_->ListEntries(etCategory, 0, entries);
  std::list<std::shared_ptr<TCategory>> out;
  for (const TBaseEntry* e : entries) {
    const auto& c = static_cast<const TCategory&>(*e);
    if (c.Header.ID == id || IsHidden(c) || !IsInBranch(id, c.Header.ID)) continue;
    out.push_back(std::make_shared<TCategory>(c));
  }
  return out;
}

NodeList Categories::GetCategoriesTree(uint64_t root) {
  std::vector<const TBaseEntry*> entries;
  db_->ListEntries(etCategory, 0, entries);
  std::vector<std::shared_ptr<Node>> nodes;
  std::unordered_map<uint64_t, Node*> by_id;
  for (const TBaseEntry* e : entries) {
    const auto& c = static_cast<const TCategory&>(*e);
    if (IsHidden(c)) continue;
    auto node = std::make_shared<Node>(NodeType::Category);
    node->Category = std::make_shared<TCategory>(c);
    by_id.emplace(c.Header.ID, node.get());
    nodes.push_back(std::move(node));
  }

  // Whether `parent` is `node` or lies below it. Attaching a node there would close a cycle of
  // shared pointers that is never freed and never reaches a root; such nodes are left out like
  // those whose parent is missing. A chain longer than the node count is itself a cycle.
  auto closes_cycle = [&](const Node* node, const Node* parent) {
    for (size_t step = 0; parent != nullptr && step <= nodes.size(); ++step) {
      if (parent == node) return true;
      auto it = by_id.find(parent->Category->Data.RootID);
      parent = it == by_id.end() ? nullptr : it->second;
    }
    return false;
  };
  for (const auto& node : nodes) {
    auto it = by_id.find(node->Category->Data.RootID);
    if (it == by_id.end() || closes_cycle(node.get(), it->second)) continue;
    it->second->Children.push_back(node);
    node->HasParent = true;
  }

  NodeList result;
  for (const auto& node : nodes) {
    const uint64_t parent = node->Category->Data.RootID;
    if (node->HasParent) continue;
    if (parent == root ||
        (root == kCategoryRoot && (parent == kCategorySubRootA || parent == kCategorySubRootB))) {
      result.push_back(node);
    }
  }
  return result;
}

bool Categories::IsReadOnly(uint64_t id) {
  if (db_->ReadOnly) return true;
  if (db_->CurrentUserID() == 0) return false;
  const TCategory* c = Find(id);
  return c != nullptr && MarkedUpChain(*c, &THeader::ReadOnly);
}

bool Categories::IsReadOnly(const TCategories& c) {
  if (db_->ReadOnly) return true;
  if (db_->CurrentUserID() == 0) return false;
  // A block is protected when it names a category the user cannot see: the hidden marks decide
  // here, not the read-only ones.
  return IsHidden(c.CategoryID) || IsHidden(c.FamilyID) || IsHidden(c.PayeeID) ||
         IsHidden(c.ProjectID);
}

bool Categories::IsReadOnly(const TCategory& c) {
  if (db_->ReadOnly) return true;
  if (db_->CurrentUserID() == 0) return false;
  return MarkedUpChain(c, &THeader::ReadOnly);
}

bool Categories::IsHidden(uint64_t id) {
  if (db_->CurrentUserID() == 0) return false;
  const TCategory* c = Find(id);
  return c != nullptr && MarkedUpChain(*c, &THeader::Hidden);
}

bool Categories::IsHidden(const TCategories& c) {
  if (db_->CurrentUserID() == 0) return false;
  return IsHidden(c.CategoryID) || IsHidden(c.FamilyID) || IsHidden(c.PayeeID) ||
         IsHidden(c.ProjectID);
}

bool Categories::IsHidden(const TCategory& c) {
  if (db_->CurrentUserID() == 0) return false;
  return MarkedUpChain(c, &THeader::Hidden);
}

std::vector<TCategory> Categories::GetChildren(uint64_t parent, bool with_strings) {
  // The category tree's root and its two sub-roots list each other's top-level categories.
  auto is_under = [parent](uint64_t root) {
    if (root == parent) return true;
    if (parent == kCategoryRoot) return root == kCategorySubRootA || root == kCategorySubRootB;
    if (parent == kCategorySubRootA || parent == kCategorySubRootB) return root == kCategoryRoot;
    return false;
  };
  std::vector<const TBaseEntry*> entries;
  db_->ListEntries(etCategory, 0, entries);
  std::vector<TCategory> out;
  for (const TBaseEntry* e : entries) {
    const auto& c = static_cast<const TCategory&>(*e);
    if (!is_under(c.Data.RootID) || IsHidden(c)) continue;
    if (with_strings) {
      std::unique_ptr<TBaseEntry> copy = db_->GetEntry(c.Header.ID, 0);
      out.push_back(std::move(static_cast<TCategory&>(*copy)));
    } else {
      out.push_back(c);
    }
  }
  if (with_strings) {
    std::stable_sort(out.begin(), out.end(),
                     [](const TCategory& a, const TCategory& b) { return a.Order < b.Order; });
  }
  return out;
}

}  // namespace vemra
