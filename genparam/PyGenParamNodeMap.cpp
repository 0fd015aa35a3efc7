#include "PyGenParamNodeMap.h"

namespace KyrGenParamPy {

PyGenParamNodeMap::PyGenParamNodeMap(KyrGenParam::NodeMap *nodeMap)
    : nodeMap_(nodeMap)
{
}

} // namespace KyrGenParamPy
