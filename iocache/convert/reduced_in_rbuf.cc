#include "iocache/convert/reduced_in_rbuf.h"

#include "iocache/canvas/canvas.h"

void iocache::convert::update_reduced_image(const cv_canvas& record, int32_t tile)
{
    if (record.kind == canvas::mask_kind) {
        cv_update_virt_subsampled_mtile_Rbuf(record.index, tile);
    } else {
        cv_update_virt_subsampled_ptile_Rbuf(record.index, tile);
    }
}

void iocache::convert::store_reduced_image_and_icon(cv_canvas& record)
{
    if (record.geom_orig.subsampled == 1) cv_write_subsampled_Rbuf(record.index);
    if (record.kind == canvas::mask_kind) {
        cv_make_mask_icon_Rbuf(&record);
    } else {
        cv_make_pic_icon_Rbuf(&record);
    }
    cv_write_icon(record.index);
}
