/* kyr-bench-grab: the plain Aravis grab loop that the camera benchmark
 * measures the module against. Opens the GigE camera at an address, streams
 * Mono8 frames of the given size at the given frame rate and prints one JSON
 * line: frames per second, process CPU seconds per frame, incomplete frames.
 * Each frame is popped and pushed back; its pixels are not touched, unless
 * "copy" follows: then each frame is copied into one kept buffer, the least a
 * consumer that keeps its frames pays.
 *
 * usage: kyr-bench-grab ADDRESS WIDTH HEIGHT FRAMES PACKET_SIZE FRAME_RATE [copy] */

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <arv.h>

#define SOCKET_BUFFER_SIZE (4 << 20)
#define BUFFER_COUNT 8
#define POP_TIMEOUT_US 5000000

static double seconds(clockid_t clock)
{
	struct timespec now;
	clock_gettime(clock, &now);
	return now.tv_sec + now.tv_nsec * 1e-9;
}

static int fail(const char *what, GError *error)
{
	fprintf(stderr, "kyr-bench-grab: %s: %s\n", what, error ? error->message : "failed");
	g_clear_error(&error);
	return 1;
}

int main(int argc, char **argv)
{
	GError *error = NULL;
	if (argc != 7 && !(argc == 8 && strcmp(argv[7], "copy") == 0)) {
		fprintf(stderr, "usage: kyr-bench-grab ADDRESS WIDTH HEIGHT FRAMES PACKET_SIZE FRAME_RATE [copy]\n");
		return 2;
	}
	const gboolean copy = argc == 8;
	const int width = atoi(argv[2]), height = atoi(argv[3]), frames = atoi(argv[4]);
	const int packet_size = atoi(argv[5]);
	const double frame_rate = atof(argv[6]);

	ArvCamera *camera = arv_camera_new(argv[1], &error);
	if (camera == NULL)
		return fail("open", error);
	arv_camera_set_region(camera, 0, 0, width, height, &error);
	if (error == NULL)
		arv_camera_set_pixel_format(camera, ARV_PIXEL_FORMAT_MONO_8, &error);
	if (error == NULL)
		arv_camera_gv_set_packet_size(camera, packet_size, &error);
	if (error == NULL)
		arv_camera_set_frame_rate(camera, frame_rate, &error);
	if (error != NULL)
		return fail("configure", error);
	const guint payload = arv_camera_get_payload(camera, &error);
	ArvStream *stream = error == NULL ? arv_camera_create_stream(camera, NULL, NULL, &error) : NULL;
	if (stream == NULL)
		return fail("stream", error);
	g_object_set(stream, "socket-buffer", ARV_GV_STREAM_SOCKET_BUFFER_FIXED, "socket-buffer-size",
		     SOCKET_BUFFER_SIZE, NULL);
	for (int i = 0; i < BUFFER_COUNT; i++)
		arv_stream_push_buffer(stream, arv_buffer_new_allocate(payload));
	guint8 *kept = copy ? g_malloc(payload) : NULL;
	arv_camera_start_acquisition(camera, &error);
	if (error != NULL)
		return fail("start", error);

	/* The first frame starts the clock: setting up is not measured. */
	ArvBuffer *buffer = arv_stream_timeout_pop_buffer(stream, POP_TIMEOUT_US);
	if (buffer == NULL)
		return fail("first frame", NULL);
	arv_stream_push_buffer(stream, buffer);
	const double wall0 = seconds(CLOCK_MONOTONIC), cpu0 = seconds(CLOCK_PROCESS_CPUTIME_ID);
	int incomplete = 0, received = 0;
	for (; received < frames; received++) {
		buffer = arv_stream_timeout_pop_buffer(stream, POP_TIMEOUT_US);
		if (buffer == NULL)
			break;
		incomplete += arv_buffer_get_status(buffer) != ARV_BUFFER_STATUS_SUCCESS;
		if (kept != NULL) {
			size_t size = 0;
			const void *data = arv_buffer_get_data(buffer, &size);
			memcpy(kept, data, size);
		}
		arv_stream_push_buffer(stream, buffer);
	}
	const double wall = seconds(CLOCK_MONOTONIC) - wall0, cpu = seconds(CLOCK_PROCESS_CPUTIME_ID) - cpu0;
	arv_camera_stop_acquisition(camera, &error);
	g_clear_error(&error);
	printf("{\"frames\": %d, \"fps\": %.3f, \"cpu_per_frame\": %.9f, \"incomplete\": %d}\n", received,
	       received / wall, received ? cpu / received : 0.0, incomplete);
	g_free(kept);
	g_object_unref(stream);
	g_object_unref(camera);
	return received == frames ? 0 : 1;
}
