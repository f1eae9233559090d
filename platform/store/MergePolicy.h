#pragma once

namespace dovrel::store {

// How a save resolves a row that another context or process changed after this context read it.
//   errorMergePolicy                      the save fails with kManagedObjectMergeError
//   mergeByPropertyObjectTrumpMergePolicy the in-memory values win, property by property: the
//                                         properties this context changed are written, the others
//                                         keep what the store holds (and the object takes them)
enum class MergePolicy { errorMergePolicy, mergeByPropertyObjectTrumpMergePolicy };

}  // namespace dovrel::store
