/*
 * Named operations on a picture as an application has it: 16 bits, red first, alpha last. What the automatic operations
 * see in a small preview is applied to the whole picture in strips by two threads; a long call is cancelled.
 */
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <zel_chain.h>

enum { WIDTH = 1200, HEIGHT = 800, REDUCTION = 4, STRIPS = 8, THREADS = 2 };

static ZelPixels NewPixels(int32_t width, int32_t height) {
  ZelPixels pixels = {NULL, 0, width, height, 4, 16, 0};
  pixels.data = calloc((size_t)width * (size_t)height * 4, sizeof(uint16_t));
  if (pixels.data == NULL) exit(1);
  return pixels;
}

static uint16_t* At(const ZelPixels* pixels, int32_t x, int32_t y) {
  return (uint16_t*)pixels->data + ((size_t)y * (size_t)pixels->width + (size_t)x) * 4;
}

/* A pale ramp under yellow light, half transparent. */
static void Draw(const ZelPixels* pixels) {
  int32_t x, y;
  for (y = 0; y < pixels->height; ++y) {
    for (x = 0; x < pixels->width; ++x) {
      uint16_t* pixel = At(pixels, x, y);
      pixel[0] = (uint16_t)(9000 + x * 40 + y % 7 * 64);
      pixel[1] = (uint16_t)(8500 + x * 37 + y * 3);
      pixel[2] = (uint16_t)(7000 + x * 28 + y % 5 * 64);
      pixel[3] = 32768;
    }
  }
}

typedef struct Job {
  const ZelMeasured* measured;
  const ZelPixels *source, *result;
  int first; /* every THREADS-th strip from here */
  int failed;
} Job;

/* Each strip is computed with the rows around it that the operations look at, and its own rows are kept. */
static void* RunStrips(void* argument) {
  Job* job = argument;
  const int32_t margin = ZelMeasured_Margin(job->measured);
  int strip;
  for (strip = job->first; strip < STRIPS; strip += THREADS) {
    const int32_t top = HEIGHT * strip / STRIPS, bottom = HEIGHT * (strip + 1) / STRIPS;
    const int32_t from = top > margin ? top - margin : 0, to = bottom + margin < HEIGHT ? bottom + margin : HEIGHT;
    ZelPixels part = *job->source, wide = NewPixels(WIDTH, to - from);
    ZelApplyOptions options = {sizeof options, 1, WIDTH, HEIGHT, 0, 0, NULL, NULL};
    part.data = At(job->source, 0, from);
    part.height = to - from;
    options.top = from;
    if (ZelMeasured_Apply(job->measured, &part, &wide, &options, NULL) != ZEL_OK) job->failed = 1;
    memcpy(At(job->result, 0, top), At(&wide, 0, top - from), (size_t)(bottom - top) * WIDTH * 8);
    free(wide.data);
  }
  return NULL;
}

static int32_t ZEL_CALL StopHalfway(void* user, double done) {
  *(double*)user = done;
  return done >= 0.5;
}

int main(void) {
  static const char kWords[] = "light-correct strength=80 smart-contrast unsharp amount=60";
  ZelPixels photo = NewPixels(WIDTH, HEIGHT), preview = NewPixels(WIDTH / REDUCTION, HEIGHT / REDUCTION);
  ZelPixels result = NewPixels(WIDTH, HEIGHT), whole = NewPixels(WIDTH, HEIGHT);
  ZelApplyOptions options = {sizeof options, 1, 0, 0, 0, 0, NULL, NULL};
  ZelReport report;
  ZelChain* chain = ZelChain_ParseLine(kWords, strlen(kWords), &report);
  ZelMeasured* measured;
  Job jobs[THREADS];
  pthread_t threads[THREADS];
  double reached = 0;
  int32_t x, y, code;
  int i;
  if (chain == NULL) {
    printf("%s\n", report.text);
    return 1;
  }

  Draw(&photo);
  for (y = 0; y < preview.height; ++y) {
    for (x = 0; x < preview.width; ++x) memcpy(At(&preview, x, y), At(&photo, x * REDUCTION, y * REDUCTION), 8);
  }
  measured = ZelChain_Measure(chain, &preview, NULL, &report);
  if (measured == NULL || !(ZelMeasured_Flags(measured) & ZEL_MEASURED_TILES)) {
    printf("strips will not do: %s\n", report.text);
    return 1;
  }
  for (i = 0; i < THREADS; ++i) {
    Job job = {NULL, NULL, NULL, 0, 0};
    job.measured = measured;
    job.source = &photo;
    job.result = &result;
    job.first = i;
    jobs[i] = job;
    if (pthread_create(&threads[i], NULL, RunStrips, &jobs[i]) != 0) return 1;
  }
  for (i = 0; i < THREADS; ++i) pthread_join(threads[i], NULL);
  ZelMeasured_Apply(measured, &photo, &whole, NULL, &report);
  printf("strips equal the whole: %s\n",
         !jobs[0].failed && !jobs[1].failed && memcmp(result.data, whole.data, WIDTH * HEIGHT * 8) == 0 ? "yes" : "no");
  printf("note: %s\n", report.notes);

  options.progress = StopHalfway;
  options.user = &reached;
  memcpy(result.data, photo.data, WIDTH * HEIGHT * 8);
  code = ZelChain_Apply(chain, &photo, &result, &options, &report);
  printf("code %d at %.2f, %s; untouched: %s\n", (int)code, reached, report.text,
         report.changed == 0 && memcmp(result.data, photo.data, WIDTH * HEIGHT * 8) == 0 ? "yes" : "no");

  ZelMeasured_Free(measured);
  ZelChain_Free(chain);
  free(photo.data);
  free(preview.data);
  free(result.data);
  free(whole.data);
  return 0;
}
