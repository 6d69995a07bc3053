// The known name that a misspelled one most likely meant.
//
//   NearestName("scroes", {"scores", "name"})   ->  "scores"
//   NearestName("Player", {"demo.Player"})      ->  "demo.Player"
//   NearestName("zzz", {"scores", "name"})      ->  ""
#ifndef OSTRANE_RECORD_NEAREST_NAME_H_
#define OSTRANE_RECORD_NEAREST_NAME_H_

#include <string>
#include <vector>

namespace OstraneRecord {

// Case is ignored, a name given without its package or parent finds the whole one, and a distance of
// more than a third of the name's length is no likeness. Of equally near names the first wins.
// Empty when none is near.
std::string NearestName(const std::string& name, const std::vector<std::string>& candidates);

// "did you mean 'scores'?", or empty.
std::string DidYouMean(const std::string& name, const std::vector<std::string>& candidates);

}  // namespace OstraneRecord

#endif  // OSTRANE_RECORD_NEAREST_NAME_H_
