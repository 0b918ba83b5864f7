// Placeholder until the collection is written.
#pragma GCC diagnostic ignored "-Wunused-parameter"
#include "collections/categories.h"

#include "core/database/database.h"

namespace vemra {

uint64_t Categories::AddCategory(const TCategory& c) {
  return {};
}

uint64_t Categories::UpdateCategory(const TCategory& c) {
  return {};
}

TCategory Categories::GetCategory(uint64_t id) {
  return {};
}

bool Categories::DeleteCategory(uint64_t id, bool delete_children) {
  return {};
}

uint64_t Categories::CreateCategory(const std::wstring& name, uint64_t parent) {
  return {};
}

uint64_t Categories::GetTopCategoryID(uint64_t id, uint64_t stop) {
  return {};
}

bool Categories::IsInBranch(uint64_t root, uint64_t id) {
  return {};
}

bool Categories::HasChildren(uint64_t id) {
  return {};
}

std::list<std::shared_ptr<TCategory>> Categories::GetDescendants(uint64_t id) {
  return {};
}

NodeList Categories::GetCategoriesTree(uint64_t root) {
  return {};
}

bool Categories::IsReadOnly(uint64_t id) {
  return {};
}

bool Categories::IsReadOnly(const TCategories& c) {
  return {};
}

bool Categories::IsReadOnly(const TCategory& c) {
  return {};
}

bool Categories::IsHidden(uint64_t id) {
  return {};
}

bool Categories::IsHidden(const TCategories& c) {
  return {};
}

bool Categories::IsHidden(const TCategory& c) {
  return {};
}

std::vector<TCategory> Categories::GetChildren(uint64_t parent, bool with_strings) {
  return {};
}

}  // namespace vemra
