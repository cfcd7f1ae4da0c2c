package com.zelvox.qorbetta;

/**
 * A simulation model, written as one class: what an author implements so that importers of
 * functional mock-up units can run it. Where the variables are known when it is written, {@link
 * FieldModel} takes less writing.
 *
 * <p>The class is public, has a public constructor without arguments that does no work, and is
 * named in {@code META-INF/services/com.zelvox.qorbetta.Model} of its jar. Every instance has a
 * model object of its own, and a reset makes a new one, so that a model needs no code to start
 * over. The calls for one object come one at a time, in this order:
 *
 * <pre>
 *   set (every parameter's start value)
 *   setUp
 *   initialize
 *   step, step, ...
 *   terminate
 *   free
 * </pre>
 *
 * {@code set} may come again between any two of them before {@code terminate}, and {@code setUp}
 * may be repeated before {@code initialize}. The importer may give up at any point; {@code free}
 * comes in any case. Objects that only serve to find or describe the model get none of these calls.
 *
 * <p>All values are in the declared units, all times in seconds. The arrays belong to the host and
 * are valid during the call only. Values stand in them in the order of declaration: {@code inputs}
 * has one element per input, {@code outputs} one per output; an output that a call leaves alone
 * keeps its value.
 *
 * <p>Whatever a method throws ends up as an error message at the importer. The host adds the name
 * of the instance and the time; the exception's message says what is wrong and what the model
 * expects.
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
     * Tells the model which span of time the importer is going to simulate. Does nothing by
     * default.
     *
     * @param startTime where the run starts; 0 when the importer does not say
     * @param stopTime where it will end; NaN when the importer does not say
     * @throws Exception when the model cannot be run over this time
     */
    default void setUp(double startTime, double stopTime) throws Exception {
    }

    /**
     * Takes the value of a parameter, at the moment at which the importer sets it. Does nothing by
     * default. Values outside the declared range never arrive here; inputs are not checked.
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
     * @throws Exception when the run could not be ended cleanly
     */
    default void terminate() throws Exception {
    }

    /**
     * Releases what the object holds; it is not used any more. Does nothing by default.
     *
     * @throws Exception when something could not be released
     */
    default void free() throws Exception {
    }
}
