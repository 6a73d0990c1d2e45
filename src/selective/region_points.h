// Does the pixel that the user clicked look like foliage, sky or skin?
#ifndef ZEL_SELECTIVE_REGION_POINTS_H_
#define ZEL_SELECTIVE_REGION_POINTS_H_

#include "core/image.h"
#include "selective/region_hue_mask.h"

namespace zel {

// By the pixel's hue alone; skin must also have some saturation. Grey has hue 0, so it belongs nowhere. False without a
// point, for a point outside the image, for fewer than three channels and for records that describe no memory. 8 and 16
// bits.
bool IsSkinPoint(const ImageDesc* source, const ZelPoint* point);     // 300..359 and 0..120 degrees
bool IsFoliagePoint(const ImageDesc* source, const ZelPoint* point);  // 30..180
bool IsSkyPoint(const ImageDesc* source, const ZelPoint* point);      // 150..329
bool IsPointOf(ColourRegion region, const ImageDesc* source, const ZelPoint* point);

}  // namespace zel

#endif  // ZEL_SELECTIVE_REGION_POINTS_H_
