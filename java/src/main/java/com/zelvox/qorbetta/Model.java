package com.zelvox.qorbetta;

/**
 * A simulation model, written as one class: what an author implements so that importers of
 * functional mock-up units can run it. Where the variables are known when it is written, {@link
 * FieldModel} takes less writing.
 *
 * <p>The class is public, has a public constructor without arguments that does no work, and is
 * named in {@code META-INF/services/com.zelvox.qorbetta.Model} of its jar. The calls for one object
 * come one at a time, in this order:
 *
 * <pre>
 *   set (every parameter, with its value at the start)
 *   setUp
 *   initialize
 *   step, step, ...
 *   terminate
 *   free
 * </pre>
 *
 * {@code set} may come again between any two of them from {@code initialize} to {@code terminate}.
 * The importer may give up at any point; {@code free} comes in any case.
 *
 * <p>An object is set up and initialized once, so that a model needs no code to start over. There
 * may be more objects than runs: an importer that reads outputs before the run begins, and then
 * sets other inputs or parameters, gets each answer from an object of its own; a reset makes a new
 * one; and some only serve to find or describe the model. At most one object of an instance is set
 * up at a time: the one before it has been freed.
 *
 * <p>All values are in the declared units, all times in seconds. The arrays belong to the host and
 * are valid during the call only. Values stand in them in the order of declaration: {@code inputs}
 * has one element per input, {@code outputs} one per output; an output that a call leaves alone
 * keeps its value.
 *
 * <p>What a method throws ends up as an error message at the importer. The host adds the name of
 * the instance and the time; the exception's message says what is wrong and what the model expects.
 * There are two exceptions. What {@code terminate} and {@code free} throw is one line on {@code
 * System.err}, since the importer cannot be told. And an importer that reads outputs before the run
 * begins gets start values where {@code set}, {@code setUp} or {@code initialize} throws: it may be
 * about to set what is missing, and hears the reason when it begins the run.
 */
public interface Model {
    /**
     * What the model is called, which variables it has and how it is best run.
     *
     * <p>The answer is the same for every object of the class. It is also asked of objects that are
     * never simulated, and not asked again when a reset makes a new object.
     *
     * @return the description, never null
     * @throws Exception when the model cannot be described
     */
    ModelDescription describe() throws Exception;

    /**
     * Tells the model which span of time the importer is going to simulate; all parameters have
     * their values. Does nothing by default.
     *
     * @param startTime where the run starts; 0 when the importer does not say
     * @param stopTime where it will end; NaN when the importer does not say
     * @throws Exception when the model cannot be run over this time
     */
    default void setUp(double startTime, double stopTime) throws Exception {
    }

    /**
     * Takes the value of a parameter: before {@code setUp} that which it has by then, later at the
     * moment at which the importer sets it. Does nothing by default. Values outside the declared
     * range never arrive here; inputs are not checked.
     *
     * @param parameter the parameter's index in the order of declaration, from 0
     * @param value the new value
     * @throws Exception when the value is of no use to the model, or comes too late; the next
     *     initialization or step then fails with this exception's message
     */
    default void set(int parameter, double value) throws Exception {
    }

    /**
     * Starts the run: brings the model to its state at the start time.
     *
     * @param inputs the inputs at the start time
     * @param outputs receives the outputs at the start time; holds their declared start values
     * @throws Exception when the model cannot start from these inputs and parameters
     */
    void initialize(double[] inputs, double[] outputs) throws Exception;

    /**
     * Advances the model from {@code time} to {@code time + stepSize}. Runs on the thread that the
     * importer steps on, once per communication step.
     *
     * @param time where the step starts, which is where the last one ended
     * @param stepSize its length, greater than 0; it may change from step to step
     * @param inputs the inputs, constant during the step
     * @param outputs receives the outputs at the end of the step
     * @throws Exception when the step cannot be made; the run is over then
     */
    void step(double time, double stepSize, double[] inputs, double[] outputs) throws Exception;

    /**
     * Ends a run that went well, once. Does nothing by default. Not called after a failed step.
     *
     * @throws Exception when the run could not be ended cleanly; a line on {@code System.err}
     */
    default void terminate() throws Exception {
    }

    /**
     * Releases what the object holds; it is not used any more. Does nothing by default.
     *
     * @throws Exception when something could not be released; a line on {@code System.err}
     */
    default void free() throws Exception {
    }
}
